#include "upgrade/BankTransfer.h"

#include <algorithm>
#include <climits>
#include <cstdint>

#include "package/PSWFile.h"
#include "package/PSWHeaderPrinter.h"
#include "port/ComPort.h"
#include "protocol/Commands.h"
#include "support/Log.h"

namespace {

/// A byte of a number, `shift` bits up.
unsigned char ByteOf(unsigned long value, int shift = 0) {
    return static_cast<unsigned char>((value >> shift) & 0xFF);
}

unsigned char LowByte(int value) {
    return ByteOf(static_cast<unsigned long>(value));
}

std::string ReleaseOf(PSWFile& package) {
    const PSWHeaderPrinter* printer = package.GetHeaderPrinter();
    std::string release = printer != nullptr ? printer->strReleasePSW : "";
    if (!release.empty()) release.insert(1, ".");
    return release;
}

bool WriteGroup(CComPort& port, const BankTransfer::Group& group, const char* tag) {
    const int count = static_cast<int>(group.banks.size());
    const int last = group.first + count - 1;
    Log::WriteLog(tag, "Sending command to start upgrade...");
    if (!BankTransfer::SendStart(port, group.first, last)) return false;
    int number = group.first;
    for (const unsigned char* bank : group.banks) {
        ++number;
        Log::WriteLogP(tag, "Sending bank...%d/%d (%d%%)", number, group.total,
                       static_cast<int>(std::int64_t{number} * 100 / std::max(group.total, 1)));
        if (!BankTransfer::WriteWhole(port, bank, static_cast<std::size_t>(group.bankSize))) return false;
    }
    Log::WriteLog(tag, "Sending command to program Flash...");
    return BankTransfer::SendProgram(port, group.first, last, group.sum, group.xorSum) && port.Drain();
}

}  // namespace

namespace BankTransfer {

bool TakeFirmware(CComPort& port, PSWFile& package, int fewestBanks, FirmwareImage& image, const char* tag) {
    image = FirmwareImage::Of(package);
    if (image.HoldsItsBanks() && image.banks >= fewestBanks && image.bankSize <= INT_MAX) return true;
    Log::WriteLog(tag, "Upgrade file wrong or incomplete:");
    if (image.banks == 0) Log::WriteLogP(tag, "NumBank Error : %d", image.banks);
    if (image.bankSize == 0) Log::WriteLogP(tag, "BankDim Error : %d", 0);
    port.Close();
    return false;
}

std::string InquireRelease(CComPort& port, unsigned int most) {
    port.SendCommand(Commands::Cmd_CommandCAN);
    port.SendCommand(Commands::Cmd_CommandGetFWREL);
    std::vector<unsigned char> answer(most + CComPort::kReadSlack);
    unsigned int err = 0;
    const std::size_t read = std::min<std::size_t>(port.Read(answer.data(), most, &err), answer.size());
    return {answer.begin(), answer.begin() + static_cast<std::ptrdiff_t>(read)};
}

bool CompareRelease(CComPort& port, PSWFile& package, std::string& text, bool& same, const char* tag) {
    const std::string answer = InquireRelease(port, 511);
    if (answer.empty()) {
        Log::WriteLog(tag, "Read FW Release Error");
        port.Close();
        return false;
    }
    text = ReleaseOf(package);
    same = text == answer.substr(0, answer.find('\0'));  // what the printer reports ends at a zero byte
    return true;
}

bool WriteWhole(CComPort& port, const unsigned char* bytes, std::size_t size) {
    unsigned int err = 0;
    return size != 0 && port.Write(bytes, static_cast<unsigned int>(size), &err) >= size;
}

bool SendStart(CComPort& port, int first, int last) {
    const unsigned char start[] = {0x1C, 0xFD, LowByte(first), LowByte(last)};
    return WriteWhole(port, start, sizeof start);
}

bool SendProgram(CComPort& port, int first, int last, unsigned long sum, unsigned long xorSum) {
    const unsigned char program[] = {0x1C,           0xFF,        LowByte(first),    LowByte(last),
                                     ByteOf(sum, 8), ByteOf(sum), ByteOf(xorSum, 8), ByteOf(xorSum)};
    return WriteWhole(port, program, sizeof program);
}

bool SendGroup(CComPort& port, const Group& group, const char* tag) {
    LargePackets packets(port);
    if (!WriteGroup(port, group, tag)) return Log::Fail(tag, "Communication Error! exit...");
    packets.Restore();
    return true;
}

void WaitForReset(CComPort& port, int timem, const char* backLine, const char* tag) {
    Log::WriteLog(tag, "Different version: Wait printer reset...");
    bool back = port.ReOpen();
    for (int pauses = 0; !back && pauses < 6; ++pauses) {
        Sleep({5000, timem});
        back = port.ReOpen();
    }
    if (back) Log::WriteLog(tag, backLine);
}

}  // namespace BankTransfer

LargePackets::LargePackets(CComPort& port) : guard_(port) {
    guard_.Dismiss();
    // A port without a packet size counts as one that sends single bytes.
    const std::uint64_t replaced = kPacket / std::max(port.GetWPacketSize(), 1U) + 1;
    const std::uint64_t scaled = std::min<std::uint64_t>(replaced * port.GetTimeoutWrite(), INT_MAX);
    port.SetWPacketSize(kPacket);
    port.SetTimeoutWrite(static_cast<unsigned int>(scaled));
}
