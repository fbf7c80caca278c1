#pragma once

/// Kind of a port.
enum COMMPORTTYPE : int {
    COMMPORT_NONE = -1,
    COMMPORT_SERIAL = 0,
    COMMPORT_ETHERNET = 1,
    COMMPORT_USB = 2,
    COMMPORT_USB_TOO = 3,  ///< USB as well; no command-line word produces it
};

/// The port that the command line chose. Texts that do not fit are cut by whoever fills them.
struct CommPortSettings {
    COMMPORTTYPE type = COMMPORT_NONE;
    char szSerDevice[512] = {};
    int iBaudrate = 0;
    int iFlowControl = 0;  ///< 0 none, 1 hardware, 2 software
    char szUsbDevice[512] = {};
    char szEthAddress[512] = {};
    int iEthPort = 0;
    bool bValid = false;  ///< result of the last IsValid

    /// True when the device of the chosen type is named; also kept in `bValid`. Numbers are not checked here.
    bool IsValid();
};
