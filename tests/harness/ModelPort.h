#pragma once

#include <algorithm>
#include <cstdio>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "harness/VirtualClock.h"
#include "port/ComPort.h"
#include "simulator/DeviceModel.h"
#include "upgrade/BootUsb.h"

/// A port that carries its bytes straight to a simulated device and back, on virtual time: no transport, no
/// threads. A read brings one answer (one that is larger than the read is an error and lost), or advances the
/// clock by the read time-out. As a USB port it finds the device by its names; every device takes and gives
/// bytes only while the port is open.
class ModelPort final : public CComPort {
 public:
    struct Sent {
        simulator::Bytes bytes;
        unsigned int uiTimeoutTX = 0;
        unsigned int uiWPacketSize = 0;
        bool bCleaned = false;  ///< the receive side was emptied since the write before
    };

    ModelPort(VirtualClock& clock, simulator::DeviceModel& model, COMMPORTTYPE type = COMMPORT_USB)
        : clock_(clock), model_(model) {
        iPortType = type;
        uiTimeoutTX = 1000;
        uiTimeoutRX = 1000;
        uiWPacketSize = 64;
    }

    using CComPort::Init;
    bool InitWithVid(char* vid) override { return Find(vid, nullptr, nullptr); }
    bool InitWithVid(char* vid, char* pid, char* serial) override { return Find(vid, pid, serial); }
    bool Open() override {
        bOpen = bOpens;
        return bOpen;
    }
    bool Close() override {
        bOpen = false;
        ++closes;
        return true;
    }
    bool ReOpen() override {
        bOpen = bOpens;
        return bOpen;
    }
    unsigned int Write(unsigned char* buf, unsigned int len, unsigned int* err) override {
        *err = 1;
        if (!bOpen) return 0;
        sent.push_back({{buf, buf + len}, uiTimeoutTX, uiWPacketSize, std::exchange(bCleaned_, false)});
        if (sent.size() == failWrite) return 0;
        *err = 0;
        model_.Receive(buf, len, clock_.NowMs());
        return len;
    }
    unsigned int Read(unsigned char* buf, unsigned int len, unsigned int* err) override {
        if (bOpen && waiting_.empty()) Fetch();
        *err = 1;
        if (waiting_.empty()) return 0;
        const simulator::Bytes answer = std::move(waiting_.front());
        waiting_.erase(waiting_.begin());
        if (answer.size() > len) return 0;
        *err = 0;
        std::copy(answer.begin(), answer.end(), buf);
        return static_cast<unsigned int>(answer.size());
    }
    void CleanRX() override { bCleaned_ = true; }
    bool HandshakeCommunication() override { return bOpen && RunHandshake({5, 1500, false}); }
    bool BackupPortInfo() override { return true; }
    bool RestoreportInfo() override { return true; }

    /// The writes as hex, one text each.
    std::vector<std::string> SentHex() const {
        std::vector<std::string> lines;
        for (const Sent& one : sent) {
            std::string line;
            for (const unsigned char byte : one.bytes) {
                char digits[4];
                std::snprintf(digits, sizeof(digits), "%02X ", static_cast<unsigned int>(byte));
                line += digits;
            }
            lines.push_back(line.substr(0, line.size() - 1));
        }
        return lines;
    }

    bool bOpen = false;
    bool bOpens = true;         ///< whether opening succeeds
    std::size_t failWrite = 0;  ///< the write, counted from 1, that takes nothing
    int closes = 0;
    std::vector<Sent> sent;

 private:
    bool Find(const char* vid, const char* pid, const char* serial) {
        const std::optional<simulator::UsbIdentity> usb = model_.OnUsb(clock_.NowMs());
        return iPortType == COMMPORT_USB && usb && Hex(usb->vendor) == vid &&
               (pid == nullptr || Hex(usb->product) == pid) && (serial == nullptr || usb->serial == serial);
    }
    void Fetch() {
        const std::uint64_t until = clock_.NowMs() + uiTimeoutRX;
        waiting_ = model_.Transmit(clock_.NowMs());
        while (waiting_.empty() && clock_.NowMs() < until) {
            const std::uint64_t next = model_.NextEvent(clock_.NowMs());
            clock_.Advance(std::clamp<std::uint64_t>(next, clock_.NowMs() + 1, until) - clock_.NowMs());
            waiting_ = model_.Transmit(clock_.NowMs());
        }
    }

 public:
    static std::string Hex(unsigned int id) {
        char text[8];
        std::snprintf(text, sizeof(text), "%04X", id);
        return text;
    }

 private:
    VirtualClock& clock_;
    simulator::DeviceModel& model_;
    std::vector<simulator::Bytes> waiting_;
    bool bCleaned_ = false;
};

/// The USB bus with one simulated device on it, in force for the boot engines as long as it lives.
class ModelBus final : public BootUsb {
 public:
    ModelBus(VirtualClock& clock, simulator::DeviceModel& model) : clock_(clock), model_(model) {
        Install(this);
    }
    ~ModelBus() override { Install(nullptr); }

    std::unique_ptr<BootPort> MakePort() override { return std::make_unique<ModelBootPort>(*this); }
    bool ListDevices(const char* vid, std::string& list) override {
        ++polls;
        list = before;
        const std::optional<simulator::UsbIdentity> usb = model_.OnUsb(clock_.NowMs());
        if (usb && ModelPort::Hex(usb->vendor) == vid) {
            list += std::string(vid) + "|" + ModelPort::Hex(usb->product) + "|" + usb->serial + "\n";
        }
        return bLists;
    }

    std::string before;  ///< lines of other devices, listed before this one
    bool bLists = true;  ///< whether the bus can be listed
    bool bOpens = true;  ///< whether the ports made here can be opened
    int polls = 0;
    int made = 0;       ///< ports made so far
    int transfers = 0;  ///< control transfers so far

 private:
    class ModelBootPort final : public BootPort {
     public:
        explicit ModelBootPort(ModelBus& bus) : bus_(bus), port_(bus.clock_, bus.model_) {
            port_.bOpens = bus.bOpens;
            ++bus.made;
        }
        CComPort& Port() override { return port_; }
        bool ControlTransfer(unsigned char requestType, unsigned char request, unsigned short value,
                             unsigned short index, unsigned char* data, unsigned short length,
                             unsigned int timeout) override {
            static_cast<void>(timeout);
            ++bus_.transfers;
            return port_.bOpen &&
                   bus_.model_.Control({requestType, request, value, index, {data, data + length}},
                                       bus_.clock_.NowMs());
        }

     private:
        ModelBus& bus_;
        ModelPort port_;
    };

    VirtualClock& clock_;
    simulator::DeviceModel& model_;
};
