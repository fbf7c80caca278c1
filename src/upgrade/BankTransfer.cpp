#include "upgrade/BankTransfer.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "port/ComPort.h"
#include "support/Clock.h"
#include "support/Log.h"
#include "upgrade/LargePackets.h"
#include "upgrade/PrinterRelease.h"

namespace BankTransfer {

namespace {

unsigned char LowByte(unsigned long value) {
    return static_cast<unsigned char>(value & 0xFF);
}

bool RefuseFirmware(CComPort& port, const FirmwareImage& image, const char* tag) {
    Log::WriteLog(tag, "Upgrade file wrong or incomplete:");
    if (image.banks == 0) Log::WriteLogP(tag, "NumBank Error : %d", image.banks);
    if (image.bankSize == 0) Log::WriteLogP(tag, "BankDim Error : %d", 0);
    port.Close();
    return false;
}

}  // namespace

bool ReachPrinter(CComPort& port, PSWFile& package, const Opening& opening, int timem, FirmwareImage& image,
                  const char* tag) {
    image = FirmwareImage::Of(package);
    if (!image.HoldsItsBanks() || image.banks < opening.fewestBanks || image.bankSize > INT_MAX) {
        return RefuseFirmware(port, image, tag);
    }
    if (!opening.loop.Run(port, timem, tag) && opening.mustReopen) return false;
    if (!port.HandshakeCommunication()) {
        Log::WriteLog(tag, opening.handshakeLine);
        return false;
    }
    return true;
}

bool CompareRelease(CComPort& port, PSWFile& package, std::string& text, bool& same, const char* tag) {
    std::string printers;
    if (!PrinterRelease::Ask(port, printers, tag)) return false;
    text = PrinterRelease::OfPackage(package);
    same = text == printers;
    return true;
}

StartCommand MakeStart(int first, int last) {
    return {0x1C, 0xFD, LowByte(static_cast<unsigned long>(first)),
            LowByte(static_cast<unsigned long>(last))};
}

ProgramCommand MakeProgram(int first, int last, unsigned long sum, unsigned long xorSum) {
    return {0x1C,
            0xFF,
            LowByte(static_cast<unsigned long>(first)),
            LowByte(static_cast<unsigned long>(last)),
            LowByte(sum >> 8),
            LowByte(sum),
            LowByte(xorSum >> 8),
            LowByte(xorSum)};
}

bool WriteWhole(CComPort& port, unsigned char* bytes, std::size_t size) {
    unsigned int err = 0;
    return size != 0 && port.Write(bytes, static_cast<unsigned int>(size), &err) >= size;
}

namespace {

bool WriteGroup(CComPort& port, const Group& group, const char* tag) {
    const int count = static_cast<int>(group.banks.size());
    const int last = group.first + count - 1;
    Log::WriteLog(tag, "Sending command to start upgrade...");
    StartCommand start = MakeStart(group.first, last);
    if (!WriteWhole(port, start.data(), start.size())) return false;
    for (int i = 0; i < count; ++i) {
        const int number = group.first + i + 1;
        Log::WriteLogP(tag, "Sending bank...%d/%d (%d%%)", number, group.total,
                       static_cast<int>(std::int64_t{number} * 100 / std::max(group.total, 1)));
        unsigned char* const bank = group.banks[static_cast<std::size_t>(i)];
        if (!WriteWhole(port, bank, static_cast<std::size_t>(group.bankSize))) return false;
    }
    Log::WriteLog(tag, "Sending command to program Flash...");
    ProgramCommand program = MakeProgram(group.first, last, group.sum, group.xorSum);
    return WriteWhole(port, program.data(), program.size()) && port.Drain();
}

}  // namespace

bool SendGroup(CComPort& port, const Group& group, const char* tag) {
    LargePackets packets(port);
    if (!WriteGroup(port, group, tag)) {
        Log::WriteLog(tag, "Communication Error! exit...");
        return false;
    }
    packets.Restore();
    return true;
}

bool WaitForReset(CComPort& port, int timem, const char* backLine, const char* tag) {
    Log::WriteLog(tag, "Different version: Wait printer reset...");
    bool back = port.ReOpen();
    for (int elapsed = 0; !back && elapsed <= 29; back = port.ReOpen()) {
        elapsed += 5;
        SleepSeconds(5, timem);
    }
    if (back) Log::WriteLog(tag, backLine);
    return back;
}

}  // namespace BankTransfer
