// Bank engines over real connections to printers that end them, or take no more bytes, amid the firmware.
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <netinet/tcp.h>
#include <sched.h>
#include <sys/syscall.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <future>
#include <thread>

#include "harness/TcpPeer.h"
#include "port/CommPortSettings.h"
#include "port/ComPortEth.h"
#include "protocol/UpgradeDataInfo.h"
#include "simulator/ScaledClock.h"
#include "upgrade/TestPackage.h"
#include "upgrade/UpgradePrinter.h"

namespace {

constexpr int kBanks = 5;
constexpr int kProgram = kBanks;  // the place after the last bank
constexpr int kGroupEnd = kBanks + 1;

enum class Fault { kNone, kResets, kCloses, kStops, kPauses };

struct Run {
    int mode;  // of the engine
    std::size_t bankSize;
    int place;  // a bank's number, or one of the two above
    Fault fault;
    bool verdict = false;
};

/// The bytes before a place. U5 sends three banks in one group and each further one in its own.
std::size_t Offset(const Run& run, int place) {
    const auto bank = static_cast<std::size_t>(std::min(place, kBanks));
    const std::size_t frames = run.mode == 5 && place >= 3 ? std::min(bank - 3, kBanks - 4UL) + 1 : 0;
    return 4 + bank * run.bankSize + frames * 12 + (place == kGroupEnd ? 8 : 0);
}

/// A printer that meets its fault at each connection that gets so far; one that stopped listens no more.
class Printer {
 public:
    Printer(const Run& run, std::function<void()> whenThere = {})
        : run_(run), at_(Offset(run, run.place)), end_(Offset(run, kGroupEnd)), whenThere_(whenThere) {
        // A small window, and a small send buffer at the other end.
        const int window = 2304;
        const int segment = 1000;
        setsockopt(listener_.Get(), SOL_SOCKET, SO_RCVBUF, &window, sizeof window);
        setsockopt(listener_.Get(), IPPROTO_TCP, TCP_MAXSEG, &segment, sizeof segment);
        if (run.place == kProgram) DropProgramCommand();
        bind(listener_.Get(), reinterpret_cast<sockaddr*>(&address_), sizeof address_);
        listen(listener_.Get(), 4);
        socklen_t size = sizeof address_;
        getsockname(listener_.Get(), reinterpret_cast<sockaddr*>(&address_), &size);
    }
};

}  // namespace
