#pragma once

#include <cstdint>

/// The kind of a record that ProtocollFields::CreateSetupItem made, and so how it is deleted. The value 4 is
/// free.
enum OBJTYPE : std::uint32_t {
    OBJTYPE_NONE = 0,
    OBJTYPE_PROTOCOLL_VERSION = 1,  ///< std::uint64_t: 100 is version "1.00"
    OBJTYPE_SETUP_HEADER = 2,
    OBJTYPE_SETUP_ID_LIST = 3,
    OBJTYPE_LIFE_INFO = 5,
    OBJTYPE_DEVICE_INFO = 6,
    OBJTYPE_HEAD_INFO = 7,
    OBJTYPE_DATA_AVAILABLE = 8,
    OBJTYPE_LOGOS_TYPE = 9,
    OBJTYPE_LOGOS_ID_LIST = 10,
    OBJTYPE_MODULE_LIST = 11,
    OBJTYPE_TOOLS = 12,
    OBJTYPE_MODULE_FONT = 13,  ///< an array of unsigned char, as long as the answer's size field says
    OBJTYPE_UPGRADE_INFO = 14,
    OBJTYPE_STATUS_INFO_GEN = 15,
    OBJTYPE_STATUS_INFO_EXT = 16,
    OBJTYPE_STATUS_DATA = 17,
    OBJTYPE_ITEM_LIST = 18,
    OBJTYPE_ITEM_NUMERIC = 19,
    OBJTYPE_ITEM_DATETIME = 20,
    OBJTYPE_ITEM_STRING = 21,
    OBJTYPE_LOGO_ITEM = 22,
};
