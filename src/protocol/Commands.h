#pragma once

#include "support/GenericConst.h"

/// Every request byte string that the program sends, and the delimiters of an answer. The answer to `1F FF
/// nn` carries the tag "<C" nn in decimal ">": 70 hexadecimal is answered with "<C112>".
namespace Commands {

// Answer framing.
inline constexpr unsigned char Cmd_STX[] = {GenericConst::kStx};
inline constexpr unsigned char Cmd_ETX[] = {GenericConst::kEtx};
inline constexpr unsigned char Cmd_ACK[] = {0x06};
inline constexpr unsigned char Cmd_NACK[] = {0x15};
inline constexpr unsigned char Cmd_STField[] = {'<'};
inline constexpr unsigned char Cmd_ETField[] = {'>'};
inline constexpr auto& Cmd_DataBytesBegin = GenericConst::kDataBytesBegin;
inline constexpr auto& Cmd_DataBytesEnd = GenericConst::kDataBytesEnd;

// Status handshake and the change of command set.
inline constexpr auto& Cmd_CommandCAN = GenericConst::kCancel;
inline constexpr auto& Cmd_CommandGetGSI = GenericConst::kGetGsi;
inline constexpr auto& Cmd_CommandGetGSIFF = GenericConst::kGetGsiFf;
inline constexpr auto& Cmd_CommandGetFWREL = GenericConst::kGetFirmwareRelease;
inline constexpr auto& Cmd_CommandSetESCPOSforSV = GenericConst::kSelectEscPos;

// Setup.
inline constexpr unsigned char Cmd_CommandGetProtVer[] = {0x1F, 0xFF, 0x01};
inline constexpr unsigned char Cmd_CommandGetHeaderSetup[] = {0x1F, 0xFF, 0x02};
inline constexpr unsigned char Cmd_CommandGetIDList[] = {0x1F, 0xFF, 0x03};
inline constexpr unsigned char Cmd_CommandGetIDInfo[] = {0x1F, 0xFF, 0x04};
inline constexpr unsigned char Cmd_CommandSetIDValue[] = {0x1F, 0xFF, 0x05};
inline constexpr unsigned char Cmd_CommandSetAllValuesOnPrinter[] = {0x1F, 0xFF, 0x06};
inline constexpr unsigned char Cmd_CommandPrnReset[] = {0x1F, 0xFF, 0x07};

// What the printer is and offers.
inline constexpr unsigned char Cmd_CommandGetPrnLifeInfo[] = {0x1F, 0xFF, 0x20};
inline constexpr unsigned char Cmd_CommandGetPrnDeviceInfo[] = {0x1F, 0xFF, 0x21};
inline constexpr unsigned char Cmd_CommandGetPrnHeadInfo[] = {0x1F, 0xFF, 0x23};
inline constexpr unsigned char Cmd_CommandDataAvailable[] = {0x1F, 0xFF, 0x28};

// Logos.
inline constexpr unsigned char Cmd_CommandGetLogosType[] = {0x1F, 0xFF, 0x30};
inline constexpr unsigned char Cmd_CommandGetLogosIDList[] = {0x1F, 0xFF, 0x31};
inline constexpr unsigned char Cmd_CommandGetIDLogo[] = {0x1F, 0xFF, 0x32};
inline constexpr unsigned char Cmd_CommandSetIDLogo[] = {0x1F, 0xFF, 0x33};
inline constexpr unsigned char Cmd_CommandPrintPreviewLogo[] = {0x1F, 0xFF, 0x34};
inline constexpr unsigned char Cmd_DeleteLogo[] = {0x1F, 0xFF, 0x35};
inline constexpr unsigned char Cmd_DeleteAllLogos[] = {0x1F, 0xFF, 0x36};

// Modules, tools, upgrade.
inline constexpr unsigned char Cmd_CommandModulesList[] = {0x1F, 0xFF, 0x40};
inline constexpr unsigned char Cmd_CommandToolsSupported[] = {0x1F, 0xFF, 0x50};
inline constexpr unsigned char Cmd_CommandToolsExec[] = {0x1F, 0xFF, 0x51};
inline constexpr unsigned char Cmd_CommandModuleFont[] = {0x1F, 0xFF, 0x60};
inline constexpr unsigned char Cmd_CommandUpgradeInfo[] = {0x1F, 0xFF, 0x70};

// Status, on each of the ways by which it can be read.
inline constexpr unsigned char Cmd_GetGenStatusInfo[] = {0x1F, 0xFF, 0x80};
inline constexpr unsigned char Cmd_GetExtStatusInfo[] = {0x1F, 0xFF, 0x81};
inline constexpr unsigned char Cmd_GetPrinterStatusGen[] = {0x1F, 0xFF, 0x8A};
inline constexpr unsigned char Cmd_GetPrinterStatusExt[] = {0x1F, 0xFF, 0x8B};
inline constexpr unsigned char Cmd_USB0GetPrinterStatusGen[] = {0xD0, 0x8A, 0x00};
inline constexpr unsigned char Cmd_USB0GetPrinterStatusExt[] = {0xD0, 0x8B, 0x00};
inline constexpr unsigned char Cmd_NETUDPGetPrinterStatusGen[] = {0xD0, 0x8A};
inline constexpr unsigned char Cmd_NETUDPGetPrinterStatusExt[] = {0xD0, 0x8B};

// Renesas boot mode. The last byte of each longer command makes all its bytes add up to 0 modulo 256.
inline constexpr unsigned char Cmd_AutomaticAdjustmentBitRate[] = {0x55};
inline constexpr unsigned char Cmd_ProgrammingSizeInquiry[] = {0x27};
inline constexpr unsigned char Cmd_DeviceSelection[] = {0x10, 0x04, '7', '6', '0', '8', 0x17};
inline constexpr unsigned char Cmd_ClockModeSelection[] = {0x11, 0x01, 0x00, 0xEE};
// The name is spelled so (kept).
inline constexpr unsigned char Cmd_BitRateSelecion[] = {0x3F, 0x07, 0x00, 0x00, 0x04,
                                                        0xB0, 0x02, 0x08, 0x04, 0xF8};
inline constexpr unsigned char Cmd_Confirmation[] = {0x06};
inline constexpr unsigned char Cmd_ProgrammingErasureStateTransition[] = {0x40};
inline constexpr unsigned char Cmd_BootProgramStatusInquiry[] = {0x4F};
inline constexpr unsigned char Cmd_UserAreaBlankCheck[] = {0x4D};
inline constexpr unsigned char Cmd_DataAreaBlankCheck[] = {0x62};
inline constexpr unsigned char Cmd_GetRelease[] = {0x32};
inline constexpr unsigned char Cmd_SaveSecurity[] = {0x33};
inline constexpr unsigned char Cmd_SaveSecurityNew[] = {0x34};
inline constexpr unsigned char Cmd_TerminateProgramming[] = {0x50, 0xFF, 0xFF, 0xFF, 0xFF, 0xB4};
inline constexpr unsigned char Cmd_AreaProgrammingSelection[] = {0x43};
inline constexpr unsigned char Cmd_LockBitEnable[] = {0x7A};
inline constexpr unsigned char Cmd_Reset[] = {0x31};
inline constexpr unsigned char Cmd_UserAreaInformationInquiry[] = {0x25};

}  // namespace Commands
