#pragma once

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "simulator/AnswerQueue.h"
#include "simulator/FirmwareReceiver.h"
#include "simulator/ModuleReceiver.h"
#include "simulator/PrinterOptions.h"

namespace simulator {

/// A printer: answers the status handshake and the framed requests, takes modules and the bank traffic of U1,
/// U3 and U5, enters its boot loader for U2, U4 and U6, programs what was sent whole and in order, restarts,
/// and comes back with the new release. Firmware of the release that it runs is programmed like any other.
///
/// It checks all that a printer can: what it refuses it leaves unanswered or answers with an error byte, and
/// notes as a violation. After bytes that belong to no request it hears nothing until the line was quiet for
/// a second.
class PrinterModel final : public DeviceModel {
 public:
    explicit PrinterModel(PrinterOptions options);

    void Receive(const unsigned char* data, std::size_t size, std::uint64_t now) override;
    std::vector<Bytes> Transmit(std::uint64_t now) override;
    bool Control(const ControlRequest& request, std::uint64_t now) override;
    std::uint64_t NextEvent(std::uint64_t now) const override;
    bool OnLine(std::uint64_t now) override;
    std::optional<UsbIdentity> OnUsb(std::uint64_t now) override;
    void ConnectionChanged(bool connected, std::uint64_t now) override;
    bool TakeCut() override;

    /// The user switches the printer off and on. A boot device with firmware comes back as a printer.
    void PowerCycle(std::uint64_t now);

    /// What the host did that a printer would not have stood, the boot device's part included. Tests expect
    /// none.
    std::vector<std::string> Violations() const;
    /// The firmware last programmed, all banks in order; empty before.
    const Bytes& FlashImage() const { return firmware_.Flash(); }
    /// The modules programmed, each as it was sent, in order.
    const std::vector<Bytes>& Modules() const { return modules_; }
    const std::string& Release() const { return options_.release; }
    /// Restarts so far, whatever their reason.
    int Restarts() const { return restarts_; }
    /// How often the exchange took place.
    int Count(Exchange exchange) const { return counts_.count(exchange) != 0 ? counts_.at(exchange) : 0; }

 private:
    enum class Presence { Here, Away, Boot };
    enum class Input { Requests, Banks, Module, Deaf };
    struct Command;

    void Advance(std::uint64_t now);
    bool HasLastWords(std::uint64_t now) const;
    void Leave(std::uint64_t now);
    void Return(std::uint64_t now);
    void LeaveBootLoader(std::uint64_t now);
    void GiveUpStalled(std::uint64_t now);
    void ForgetInput();

    std::size_t Consume(const unsigned char* data, std::size_t size, std::uint64_t now);
    void ConsumeRequestByte(unsigned char byte, std::uint64_t now);
    void Unrecognised(std::uint64_t now);
    template <class Receiver>
    std::size_t Feed(Receiver& receiver, const unsigned char* data, std::size_t size, std::uint64_t now);

    static const std::vector<Command>& Commands();
    void OnInquiry(const ExchangeRow& row, std::uint64_t now);
    bool OffersUpgrade() const;
    void OnStartBanks(std::uint64_t now);
    void OnBanksEnd(std::uint64_t now);
    void ProgramBanks(std::uint64_t said, bool answered);
    void OnModuleEnd(std::uint64_t now);
    std::string BootEntryComplaint(bool renesas) const;
    void OnBootEntry(bool renesas, std::uint64_t now);

    const Fault* NextFault(Exchange exchange);
    std::uint64_t Say(const Fault* fault, const Bytes& own, std::uint64_t due, bool result);
    void Restart(std::uint64_t leaveAt, std::uint64_t backAt);
    void Postpone(std::uint64_t leaveAt);
    void Cut(std::uint64_t now);
    void Violation(std::uint64_t now, const std::string& text);
    void Event(std::uint64_t now, const std::string& text);

    PrinterOptions options_;
    std::map<Exchange, int> counts_;
    Bytes request_;  // as far as it has come
    FirmwareReceiver firmware_;
    ModuleReceiver module_;
    AnswerQueue answers_;

    Presence presence_ = Presence::Here;
    Input input_ = Input::Requests;
    std::uint64_t lastByteAt_ = 0;
    std::uint64_t leaveAt_ = kNever;
    std::uint64_t backAt_ = kNever;
    std::uint64_t bootAt_ = kNever;
    bool entersBoot_ = false;
    bool cut_ = false;

    bool selected_ = false;         // the command set, since power came on
    std::optional<Exchange> last_;  // the exchange before, since power came on
    const Fault* transferFault_ = nullptr;

    std::string newRelease_;
    std::string serial_;
    std::string newSerial_;
    bool newFirmware_ = false;
    int restarts_ = 0;
    std::vector<Bytes> modules_;
    std::unique_ptr<BootDevice> boot_;
    std::vector<std::string> violations_;
};

}  // namespace simulator
