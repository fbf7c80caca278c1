// Bank engines over real connections to printers that end them, or take no more bytes, amid the firmware.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/tcp.h>
#include <sched.h>

#include <atomic>
#include <cstdlib>
#include <memory>
#include <thread>

#include "harness/LogCapture.h"
#include "harness/TcpPeer.h"
#include "package/PSWFile.h"
#include "port/ComPortEth.h"
#include "port/CommPortSettings.h"
#include "simulator/SampleFiles.h"
#include "simulator/ScaledClock.h"
#include "upgrade/UpgradePrinter.h"

namespace {

constexpr int kBanks = 5;
constexpr int kLast = kBanks - 1;
constexpr int kProgram = kBanks;  // the place after the last bank ...
constexpr int kEnd = kBanks + 1;  // ... and the one after the program command
constexpr int kWindow = 2304;
constexpr std::size_t kFits = 6000;
constexpr std::size_t kDoesNotFit = 40000;  // five of them into the send buffer

enum class Fault { kResets, kCloses, kStops, kPauses, kUnplugged, kUnpluggedFor15s };

struct Case {
    int mode;  // of the engine
    std::size_t bankSize;
    int place;  // a bank's number, or one of those above
    Fault fault;
};

/// The bytes of banks and commands before a place. U5 frames three banks together and each further one.
std::size_t Before(const Case& run, int place) {
    const int frames = run.mode == 5 && place >= 3 ? std::min(place, kLast) - 2 : 0;
    return 4 + static_cast<std::size_t>(std::min(place, kBanks)) * run.bankSize +
           static_cast<std::size_t>(frames * 12 + (place == kEnd ? 8 : 0));
}

/// A printer with a small window that meets its fault in its first connection and listens all the time.
class Printer {
 public:
    /// Of the program command's place it reads so little before that the command is never acknowledged.
    explicit Printer(const Case& run)
        : run_(run), at_(Before(run, run.place) - (run.place == kProgram ? 4 * kWindow : 0)) {
        const int window = kWindow;
        const int segment = 1000;  // keeps the other end's send buffer small too
        setsockopt(listener_.Get(), SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
        setsockopt(listener_.Get(), IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
        thread_ = std::thread([this] { Serve(); });
    }
    ~Printer() { Stop(); }

    int Port() const { return listener_.Port(); }
    /// Once the caller has left.
    void Stop() {
        over_ = true;
        shutdown(listener_.Get(), SHUT_RDWR);
        if (thread_.joinable()) thread_.join();
    }

    // To be looked at when it has been stopped.
    bool hasAll = false;
    Lines begunAnew;              ///< what connections after the first fault began with
    std::uint64_t faultedUs = 0;  ///< when it met the fault first

 private:
    void Serve() {
        for (;;) {
            const OwnedDescriptor line(accept4(listener_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
            if (line.Get() == -1) return;
            if (!AnswersUntilTheGroup(line)) continue;
            std::size_t got = 1;
            while (got > 0 && (taken_ != at_ || Meet(line))) {
                got = ReceiveSome(line, std::min<std::size_t>(at_ - taken_, 4096), -1).size();
                taken_ += got;
            }
        }
    }
    /// False when the connection is over before.
    bool AnswersUntilTheGroup(const OwnedDescriptor& line) {
        std::string text;
        for (std::string begun; text.compare(0, 2, "\x1C\xFD") != 0; begun += text) {
            text = ReceiveSome(line, 4, -1);
            if (text.empty()) return false;
            if (faultedUs != 0 && begun.empty()) begunAnew.push_back(text);
            // U5's answer to its first bank alone; so early that a busy machine does not make it too late.
            if (text.compare(0, 3, "\x1C\xFD\x03") == 0) send(line.Get(), "\xAA", 1, MSG_NOSIGNAL);
            const std::string asked =
                (begun + text).substr(std::max<std::size_t>(begun.size() + text.size(), 3) - 3);
            if (asked == "\x1DI\x01") send(line.Get(), "\0", 1, MSG_NOSIGNAL);
            if (asked == "\x1DI\x03") send(line.Get(), "1.04", 4, MSG_NOSIGNAL);
        }
        taken_ = text.size() + (faultedUs == 0 ? taken_ : 0);
        return true;
    }
    /// False when the connection is over.
    bool Meet(const OwnedDescriptor& line) {
        if (faultedUs == 0) faultedUs = Clock::Get().MonotonicUs();
        hasAll = taken_ == Before(run_, kEnd);
        const int now = 1;
        setsockopt(line.Get(), IPPROTO_TCP, TCP_QUICKACK, &now, sizeof now);
        const bool returns = run_.fault == Fault::kUnpluggedFor15s;
        const bool pauses = returns || run_.fault == Fault::kPauses;
        if (pauses && hasAll) return true;
        const linger reset{1, 0};
        if (run_.fault == Fault::kResets) setsockopt(line.Get(), SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
        if (run_.fault == Fault::kCloses) {
            shutdown(line.Get(), SHUT_RDWR);
            if (run_.place != kProgram) ReceiveFrom(line, kDoesNotFit, 5);
        }
        if (returns || run_.fault == Fault::kUnplugged) {
            EXPECT_EQ(std::system("ip link set plug down"), 0);
        }
        if (pauses) Sleep({returns ? 15000 : 200000});
        if (returns) {
            EXPECT_EQ(std::system("ip link set plug up"), 0);
        }
        at_ = pauses ? Before(run_, kEnd) : at_;
        const bool stops = run_.fault == Fault::kStops || run_.fault == Fault::kUnplugged;
        while (stops && !over_) poll(nullptr, 0, 5);
        return pauses;
    }
    const Case run_;
    std::size_t at_;
    TcpListener listener_{4};
    std::size_t taken_ = 0;  // of banks and their commands, over all connections until the first fault
    std::atomic<bool> over_{false};
    std::thread thread_;
};

bool Upgrade(const Case& run, const char* host, int port) {
    simulator::PackageSample sample;
    sample.newForm = false;
    sample.release = "104";
    sample.banks = kBanks;
    sample.bankSize = run.bankSize;
    const simulator::Bytes bytes = simulator::SampleFiles::MakePackage(sample);
    PSWFile package;
    package.iFileLength = static_cast<int>(bytes.size());
    EXPECT_TRUE(package.LoadPSWFromMemory(bytes.data(), package.iFileLength, true));
    CComPortEth line;
    line.Init(std::string(host).data(), port);
    UpgradeDataInfo info;
    CommPortSettings settings;
    PSWComponents components;
    const std::unique_ptr<UpgradePrinter> engine(
        UpgradePrinter::GetUpgradeClass(static_cast<UPGRADEMODE>(run.mode), 1, 1));
    return engine->StartUpgrade_PSW1(info, line, package, settings, nullptr, nullptr, components);
}

class BrokenConnection : public testing::TestWithParam<std::tuple<int, int>> {};
INSTANTIATE_TEST_SUITE_P(EnginesAndPlaces, BrokenConnection,
                         testing::Combine(testing::Values(1, 3, 5), testing::Values(0, 3, kLast, kProgram)));

TEST_P(BrokenConnection, IsAFailure) {
    const simulator::ScaledClock clock(1500, 300);
    const auto [mode, place] = GetParam();
    for (const Fault fault : {Fault::kResets, Fault::kCloses, Fault::kStops}) {
        for (const std::size_t bankSize : {kFits, kDoesNotFit}) {
            SCOPED_TRACE(testing::PrintToString(fault) + " in a bank of " + std::to_string(bankSize));
            Printer printer({mode, bankSize, place, fault});
            LogCapture log;
            EXPECT_FALSE(Upgrade({mode, bankSize, place, fault}, "127.0.0.1", printer.Port()));
            printer.Stop();
            EXPECT_FALSE(printer.hasAll);
            const std::string text = Joined(log.Take());
            EXPECT_EQ(text.find("]Communication Error! exit...") != std::string::npos, mode != 1);
            EXPECT_EQ(printer.begunAnew, Lines{}) << "nothing goes over a second connection";
        }
    }
}

TEST(WholeConnection, IsASuccess) {
    const simulator::ScaledClock clock(200, 1000);
    for (const int mode : {1, 3, 5}) {
        for (const Case& run :
             {Case{mode, kDoesNotFit, 3, Fault::kPauses}, Case{mode, kFits, kEnd, Fault::kResets},
              Case{mode, kFits, kEnd, Fault::kCloses}}) {
            Printer printer(run);
            EXPECT_TRUE(Upgrade(run, "127.0.0.1", printer.Port()));
            printer.Stop();
            EXPECT_TRUE(printer.hasAll);
            EXPECT_EQ(printer.begunAnew, Lines{});
        }
    }
}

/// Lays a cable between a network of its own for the printer and one for the caller; false where that cannot
/// be had. Both end with the caller's thread.
bool LayCable(std::unique_ptr<Printer>& printer, const Case& run) {
    if (unshare(CLONE_NEWNET) != 0) return false;
    const OwnedDescriptor printers(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    printer = std::make_unique<Printer>(run);
    const std::string there = "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(printers.Get());
    if (unshare(CLONE_NEWNET) != 0) return false;
    const OwnedDescriptor own(open("/proc/thread-self/ns/net", O_RDONLY | O_CLOEXEC));
    const std::string here = "ip link add cable type veth peer name plug netns " + there +
                             " && ip address add 198.51.100.1/24 dev cable && ip link set cable up";
    const bool laid = std::system(here.c_str()) == 0 && setns(printers.Get(), CLONE_NEWNET) == 0 &&
                      std::system("ip address add 198.51.100.2/24 dev plug && ip link set plug up") == 0;
    return setns(own.Get(), CLONE_NEWNET) == 0 && laid;
}

TEST(BrokenCable, IsAFailureAfter300SecondsAndNoneAfter15) {
    for (const Fault fault : {Fault::kUnplugged, Fault::kUnpluggedFor15s}) {
        const simulator::ScaledClock clock(100, 200);
        const Case run{3, kDoesNotFit, 3, fault};
        const bool returns = fault == Fault::kUnpluggedFor15s;
        std::unique_ptr<Printer> printer;
        bool laid = false;
        std::thread([&] {
            laid = LayCable(printer, run);
            EXPECT_EQ(laid && Upgrade(run, "198.51.100.2", printer->Port()), laid && returns);
        }).join();
        if (!laid) GTEST_SKIP() << "needs root and iproute2";
        // A second of real time for what does not follow the clock: TCP's shortest timer, and this machine.
        EXPECT_LT(Clock::Get().MonotonicUs() - printer->faultedUs, (310U + 100U) * 1000000);
        printer->Stop();
        EXPECT_EQ(printer->hasAll, returns);
        EXPECT_EQ(printer->begunAnew, Lines{});
    }
}

}  // namespace
