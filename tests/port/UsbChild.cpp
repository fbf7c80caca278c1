// Performs operations of the USB port, named on its command line, and prints what comes of each: "name=result
// [last error]". Runs as a child of the tests, with the real libusb, on the bus that the test emulates. Waits
// pass at once and are printed; so are the time-outs that are handed to libusb, of which 150 ms pass at most.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "port/ComPortUsb.h"
#include "support/Clock.h"
#include "support/Log.h"

namespace {

class PrintingClock final : public Clock {
 public:
    bool Now(timeval& now) override { return system_.Now(now); }
    std::uint64_t MonotonicUs() override { return system_.MonotonicUs(); }
    void SleepMicroseconds(std::uint64_t us) override {
        std::printf("sleep %llu us\n", static_cast<unsigned long long>(us));
    }
    unsigned int BlockingTimeout(unsigned int ms) override {
        std::printf("time-out %u ms\n", ms);
        return std::min(ms, 150U);
    }

 private:
    Clock& system_ = Clock::Get();
};

class UsbChild {
 public:
    explicit UsbChild(char** words) : words_(words) {}

    int Run() {
        while (*words_ != nullptr) {
            const std::string name = Word();
            const long result = operations_.at(name)();
            std::printf("%s=%ld [%s]\n", name.c_str(), result, port_->szLastError);
        }
        std::printf("end\n");
        return 0;
    }

 private:
    char* Word() { return *words_ == nullptr ? none_ : *words_++; }
    unsigned int Number() { return static_cast<unsigned int>(std::strtoul(Word(), nullptr, 0)); }

    long Init() {
        char* const pid = Word();
        return port_->Init(pid, Word());
    }
    long InitWithVid() {
        char* const vid = Word();
        char* const pid = Word();
        return port_->InitWithVid(vid, pid, Word());
    }
    long Write(const std::string& text) {
        const std::vector<unsigned char> bytes(text.begin(), text.end());
        unsigned int err = 9;
        const unsigned int sent = port_->Write(bytes.data(), static_cast<unsigned int>(bytes.size()), &err);
        std::printf("err %u\n", err);
        return sent;
    }
    long Read() {
        std::vector<unsigned char> buffer(Number());
        unsigned int err = 9;
        const unsigned int got = port_->Read(buffer.data(), static_cast<unsigned int>(buffer.size()), &err);
        std::printf("err %u data [%.*s]\n", err, static_cast<int>(got),
                    reinterpret_cast<char*>(buffer.data()));
        return got;
    }
    long Control() {
        const auto type = static_cast<unsigned char>(Number());
        const auto request = static_cast<unsigned char>(Number());
        std::vector<unsigned char> data(Number());
        return port_->ControlTransfer(type, request, 0x0200, 0, data.data(),
                                      static_cast<unsigned short>(data.size()), 1000);
    }
    /// list <bytes of the buffers> <vendor, or "-" for none>
    long List() {
        std::vector<char> list(Number(), 'x');
        std::vector<char> error(list.size(), '\0');
        const std::string vid = Word();
        const bool result = CComPortUsb::GetDeviceList(list.data(), list.size(), error.data(), error.size(),
                                                       vid == "-" ? nullptr : vid.c_str());
        std::printf("error [%s]\n{%s}\n", error.data(), list.data());
        return result;
    }
    /// Waits until the list has the line.
    long Await() {
        const std::string line = Word();
        Clock* const clock = &Clock::Get();
        Clock::Install(nullptr);
        std::vector<char> list(8192);
        bool seen = false;
        for (int attempt = 0; attempt < 2000 && !seen; ++attempt) {
            CComPortUsb::GetDeviceList(list.data(), list.size(), nullptr, 0, line.substr(0, 4).c_str());
            seen = std::string(list.data()).find(line + "\n") != std::string::npos;
            if (!seen) SleepMs(5);
        }
        Clock::Install(clock);
        return seen;
    }
    /// How many files whose path holds `part` this program has open.
    static long OpenFiles(const char* part) {
        const std::filesystem::directory_iterator all("/proc/self/fd");
        return std::count_if(begin(all), end(all), [part](const auto& entry) {
            std::error_code ignored;
            const std::string path = std::filesystem::read_symlink(entry.path(), ignored);
            return path.find(part) != std::string::npos;
        });
    }
    /// Leaves this program two file descriptors more than it has open.
    static long Starve() {
        const int next = dup(STDIN_FILENO);
        ::close(next);
        const rlimit limits{static_cast<rlim_t>(next) + 2, static_cast<rlim_t>(next) + 2};
        return setrlimit(RLIMIT_NOFILE, &limits) == 0;
    }
    long Show() {
        std::printf("in %02x out %02x\n", port_->uiEpIn, port_->uiEpOut);
        return port_->DumpPortInfo();
    }

    char** words_;
    char none_[1] = {};
    std::unique_ptr<CComPortUsb> port_ = std::make_unique<CComPortUsb>(1);
    const std::map<std::string, std::function<long()>> operations_{
        {"multiplier", [this] { return port_->iTimeMultiplier = static_cast<int>(Number()), 1; }},
        {"init", [this] { return Init(); }},
        {"init-vid", [this] { return InitWithVid(); }},
        {"init-vendor", [this] { return port_->InitWithVid(Word()); }},
        {"find", [this] { return port_->FindDevice("F0F0", "0205", 1); }},
        {"open", [this] { return port_->Open(); }},
        {"close", [this] { return port_->Close(); }},
        {"reopen", [this] { return port_->ReOpen(); }},
        {"handshake", [this] { return port_->HandshakeCommunication(); }},
        {"backup", [this] { return port_->BackupPortInfo(); }},
        {"restore", [this] { return port_->RestoreportInfo(); }},
        {"save", [this] { return port_->SaveLocationCurrentDevice(); }},
        {"find-place", [this] { return port_->RestoreAddrNumFrmLocatio(); }},
        {"packet", [this] { return port_->SetWPacketSize(Number()), 1; }},
        {"timeout", [this] { return port_->uiTimeoutRX = port_->uiTimeoutTX = Number(), 1; }},
        {"write", [this] { return Write(Word()); }},
        {"zeros", [this] { return Write(std::string(Number(), '\0')); }},
        {"read", [this] { return Read(); }},
        {"control", [this] { return Control(); }},
        {"list", [this] { return List(); }},
        {"await", [this] { return Await(); }},
        {"nodes", [] { return OpenFiles("/bus/usb/"); }},
        {"files", [] { return OpenFiles(""); }},
        {"starve", [] { return Starve(); }},
        {"show", [this] { return Show(); }},
    };
};

}  // namespace

int main(int /*argc*/, char** argv) {
    static_cast<void>(std::setvbuf(stdout, nullptr, _IOLBF, 0));
    PrintingClock clock;
    Clock::Install(&clock);
    Log::SetLogEnable(1, true);
    const int status = UsbChild(argv + 1).Run();
    Clock::Install(nullptr);
    return status;
}
