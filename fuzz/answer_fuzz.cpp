// An answer that comes in any pieces, over a port that keeps its contract and nothing more: framed, of a
// known length, and the status handshake's.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "harness/VirtualClock.h"
#include "port/ComPort.h"
#include "support/Owned.h"

namespace {

/// Each read brings the next piece: a byte says how long it is, 0 that nothing comes.
class PiecePort final : public CComPort {
 public:
    PiecePort(VirtualClock& clock, const std::uint8_t* data, std::size_t size)
        : clock_(clock), at_(data), end_(data + size) {}

    unsigned int Write(unsigned char*, unsigned int len, unsigned int* err) override {
        *err = 0;
        return len;
    }
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override {
        const auto left = static_cast<std::size_t>(end_ - at_);
        const std::size_t says = left == 0 ? 0 : *at_++;
        // A piece of 255 is a thousand bytes, whatever was asked.
        const std::size_t most = says == 255 ? kReadSlack : std::min<std::size_t>(says, len);
        const std::size_t size = std::min(most, static_cast<std::size_t>(end_ - at_));
        clock_.Advance(size == 0 ? 500 : 1);
        *err = size == 0 ? 1 : 0;
        std::copy_n(at_, size, buf);
        brought.append(at_, at_ + size);
        at_ += size;
        return static_cast<unsigned int>(size);
    }
    bool HandshakeCommunication() override { return RunHandshake({15, 3000, true}); }

    std::string brought;

 private:
    VirtualClock& clock_;
    const std::uint8_t* at_;
    const std::uint8_t* end_;
};

void Check(bool holds) {
    if (!holds) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    VirtualClock clock;
    PiecePort port(clock, data + 1, size - 1);
    const unsigned int kind = data[0] % 3;
    if (kind == 0) {
        int length = 0;
        const OwnedBytes answer(port.ReadProtocollData(&length));
        Check((answer == nullptr) == (length == 0));
        const std::string bytes(answer.get(), answer.get() + length);
        Check(answer == nullptr || (bytes == port.brought && bytes.find('\x03') != std::string::npos));
    } else if (kind == 1) {
        const std::size_t wanted = data[0] / 3;
        const OwnedBytes answer = AllocateBytes(wanted + 1);
        unsigned int err = 0;
        const unsigned int got = port.ReadAll(answer.get(), static_cast<int>(wanted), 5000, &err);
        Check(got <= wanted && (got < wanted) == (err != 0) && got <= port.brought.size());
    } else {
        const bool reached = port.HandshakeCommunication();
        Check(!reached || port.brought.size() >= 2);
    }
    Check(clock.NowMs() < 1700000000000 + 700000);
    return 0;
}
