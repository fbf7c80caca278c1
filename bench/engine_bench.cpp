// The bank transfers of U1, U3 and U5 over loopback, as the engines make them, beside plain loops of `send`
// with the same bytes in the same packets. Waits that a procedure prescribes are left out.
#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "bench/PhaselessClock.h"
#include "bench/TcpSink.h"
#include "port/ComPortEth.h"
#include "upgrade/UpgradePrinter_ModeU1.h"
#include "upgrade/UpgradePrinter_ModeU3.h"
#include "upgrade/UpgradePrinter_ModeU5.h"

namespace {

constexpr int kBankSize = 57344;
constexpr int kBanks = 64;
constexpr std::size_t kLargePacket = 57344;
constexpr std::size_t kSmallPacket = 48;

std::vector<unsigned char> Firmware() {
    std::vector<unsigned char> firmware(std::size_t{kBankSize} * kBanks);
    for (std::size_t i = 0; i < firmware.size(); ++i)
        firmware[i] = static_cast<unsigned char>(i * 7 + i / 256);
    return firmware;
}

std::vector<unsigned char*> BanksOf(std::vector<unsigned char>& firmware) {
    std::vector<unsigned char*> banks;
    for (int i = 0; i < kBanks; ++i)
        banks.push_back(firmware.data() + std::size_t{kBankSize} * static_cast<std::size_t>(i));
    return banks;
}

struct Sums {
    unsigned long sum = 0;
    unsigned long xorSum = 0;
};

/// The checksums of U3 and U5; an engine computes them before it sends, and they have figures of their own.
Sums SumsOf(const std::vector<unsigned char*>& banks) {
    Sums sums;
    UpgradePrinter::GetCheckSumKeldUsb(banks, kBankSize, sums.sum, sums.xorSum);
    return sums;
}

/// Opens a port to a sink, which answers behind each `answered` bytes if that is not 0, and runs `send` with
/// it and the banks for the measured time.
template <class Send>
void Measure(benchmark::State& state, Send&& send, std::size_t answered = 0) {
    std::vector<unsigned char> firmware = Firmware();
    const std::vector<unsigned char*> banks = BanksOf(firmware);
    const Sums sums = SumsOf(banks);
    TcpSink sink(answered);
    CComPortEth port;
    port.Init(std::string("127.0.0.1").data(), sink.Port());
    if (!port.Open()) state.SkipWithError("no connection");
    while (state.KeepRunning()) {
        if (!send(port, banks, sums)) state.SkipWithError("the transfer failed");
    }
    state.SetBytesProcessed(state.iterations() * std::int64_t{kBankSize} * kBanks);
}

using Banks = std::vector<unsigned char*>;

void TransferU1(benchmark::State& state) {
    // Taken for a printer that sends no answer: what is measured ends with the last byte sent.
    Measure(state, [](CComPortEth& port, const Banks& banks, const Sums& sums) {
        int error = 0;
        port.iPortType = COMMPORT_USB;
        return UpgradePrinter_ModeU1(1, 0).SendBankFlashBanksNew(port, banks.front(), kBankSize, kBanks,
                                                                 sums.sum, sums.xorSum, 0, error, "1.06",
                                                                 true, 0, nullptr);
    });
}
BENCHMARK(TransferU1)->UseRealTime();

void PlainSend48(benchmark::State& state) {
    SendPlainly(state, Firmware(), kSmallPacket);
}
BENCHMARK(PlainSend48)->UseRealTime();

void TransferU3(benchmark::State& state) {
    Measure(state, [](CComPortEth& port, const Banks& banks, const Sums& sums) {
        return UpgradePrinter_ModeU3(1, 0).SendBankFlashGeneric(port, banks, kBankSize, sums.sum, sums.xorSum,
                                                                true, nullptr);
    });
}
BENCHMARK(TransferU3)->UseRealTime();

void SendU5(benchmark::State& state, bool answered) {
    const PhaselessClock clock;
    constexpr std::size_t kStartAndProgram = 4 + 8;
    const auto send = [answered](CComPortEth& port, const Banks& banks, const Sums& sums) {
        UpgradePrinter_ModeU5 engine(1, 1);
        int index = 0;
        for (unsigned char* bank : banks) {
            if (engine.SendBankFlashDATA(port, bank, kBankSize, sums.sum, sums.xorSum, false, nullptr,
                                         index++, kBanks, !answered) != 1)
                return false;
        }
        return true;
    };
    Measure(state, send, answered ? kStartAndProgram + kBankSize : 0);
}

void TransferU5(benchmark::State& state) {
    SendU5(state, false);  // each bank goes as if it were the last, whose answer is not waited for
}
BENCHMARK(TransferU5)->UseRealTime();

void TransferU5Answered(benchmark::State& state) {
    SendU5(state, true);  // as each bank but the last goes
}
BENCHMARK(TransferU5Answered)->UseRealTime();

void PlainSend57344(benchmark::State& state) {
    SendPlainly(state, Firmware(), kLargePacket);
}
BENCHMARK(PlainSend57344)->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
