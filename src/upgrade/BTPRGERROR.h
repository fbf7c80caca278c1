#pragma once

/// Why a Renesas boot connection failed.
enum BTPRGERROR : int {
    BTPRG_FAILED = 1,               ///< any failure that has no value of its own
    BTPRG_RELEASE_UNAVAILABLE = 10  ///< the boot loader's release could not be asked for
};
