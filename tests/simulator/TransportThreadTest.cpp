#include <arpa/inet.h>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>

#include <numeric>

#include "Conversation.h"
#include "simulator/Descriptor.h"
#include "simulator/PtyTransport.h"
#include "simulator/ScaledClock.h"
#include "simulator/SynchronizedModel.h"
#include "simulator/TcpTransport.h"

namespace {

using simulator::Bytes;
using simulator::Descriptor;
using simulator::Exchange;
using simulator::Fault;
using simulator::Line;
using simulator::PrinterOptions;

constexpr int kLongMs = 5000;

Descriptor Connect(std::uint16_t port) {
    Descriptor peer(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (connect(peer.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) peer.Reset();
    return peer;
}

void Say(const Descriptor& line, const std::string& text) {
    EXPECT_EQ(write(line.Get(), text.data(), text.size()), static_cast<ssize_t>(text.size()));
}

/// Reads `size` bytes, or fewer when the line ends or stays silent.
std::string Hear(const Descriptor& line, std::size_t size) {
    std::string heard;
    while (heard.size() < size) {
        pollfd wait{line.Get(), POLLIN, 0};
        char byte = 0;
        if (poll(&wait, 1, kLongMs) != 1 || read(line.Get(), &byte, 1) != 1) break;
        heard.push_back(byte);
    }
    return heard;
}

/// Waits until a connection to the port succeeds, or fails, as asked.
bool Becomes(std::uint16_t port, bool reachable) {
    for (int i = 0; i < kLongMs; ++i) {
        if (Connect(port).IsOpen() == reachable) return true;
        poll(nullptr, 0, 1);
    }
    return false;
}

const std::string kHandshake = std::string("\x1C<EPOS>\x18\x1D\x49\x03", 11);

/// A printer on a line of its own, with the clock and the lock that a transport needs.
struct Running {
    explicit Running(const PrinterOptions& options = {}) : model(options) {}
    const simulator::ScaledClock clock{50, 1};
    simulator::PrinterModel model;
    simulator::SynchronizedModel shared{model};
};

TEST(TcpTransport, AnswersOneConnectionAfterAnother) {
    Running printer;
    simulator::TcpTransport transport(printer.shared, 0);
    transport.Start();
    for (int i = 0; i < 3; ++i) {
        const Descriptor peer = Connect(transport.Port());
        Say(peer, kHandshake);
        EXPECT_EQ(Hear(peer, 4), "1.05");
    }
    EXPECT_EQ(printer.shared.Inspect([&] { return printer.model.Count(Exchange::Release); }), 3);
}

TEST(TcpTransport, ClosesAndRefusesWhileThePrinterIsAwayAndKeepsItsPort) {
    Running printer;
    simulator::TcpTransport transport(printer.shared, 0);
    transport.Start();
    const Descriptor peer = Connect(transport.Port());
    Say(peer, kHandshake);
    ASSERT_EQ(Hear(peer, 4), "1.05");
    printer.shared.Inspect([&] { printer.model.PowerCycle(simulator::NowMs()); });
    EXPECT_EQ(Hear(peer, 1), "") << "closed";
    EXPECT_TRUE(Becomes(transport.Port(), false));
    EXPECT_TRUE(Becomes(transport.Port(), true));
}

TEST(TcpTransport, CutsTheConnectionWhenTheModelWantsIt) {
    PrinterOptions options;
    options.bankCount = 1;
    options.faults = {Fault::Cut(Exchange::BankGroup, 10)};
    Running printer(options);
    simulator::TcpTransport transport(printer.shared, 0);
    transport.Start();
    const Descriptor peer = Connect(transport.Port());
    Say(peer, kHandshake);
    ASSERT_EQ(Hear(peer, 4), "1.05");
    Say(peer, std::string("\x1C\xFD\0\0", 4) + std::string(10, 'x'));
    EXPECT_EQ(Hear(peer, 1), "");
}

TEST(PtyTransport, CarriesEveryByteBothWaysAndStaysWhenTheHostLeaves) {
    PrinterOptions options;
    options.line = Line::Serial;
    Bytes all(256);
    std::iota(all.begin(), all.end(), static_cast<unsigned char>(0));
    options.faults = {Fault::Says(Exchange::Release, all)};
    Running printer(options);
    simulator::PtyTransport transport(printer.shared);
    transport.Start();
    for (int i = 0; i < 2; ++i) {
        const Descriptor line(open(transport.Path().c_str(), O_RDWR | O_NOCTTY));
        ASSERT_TRUE(line.IsOpen());
        Say(line, kHandshake);
        EXPECT_EQ(Hear(line, all.size()), std::string(all.begin(), all.end()));
    }
}

TEST(ScaledClock, RunsAtItsRateAndGivesBlockingCallsAFloor) {
    simulator::ScaledClock clock(100, 30);
    const std::uint64_t start = simulator::NowMs();
    clock.SleepMicroseconds(2000000);
    EXPECT_GE(simulator::NowMs() - start, 2000U);
    EXPECT_EQ(clock.BlockingTimeout(0), 0U);
    EXPECT_EQ(clock.BlockingTimeout(500), 30U);
    EXPECT_EQ(clock.BlockingTimeout(60001), 601U);
}

}  // namespace
