#pragma once

#include <climits>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "simulator/Exchange.h"
#include "simulator/boot/BootDevice.h"

namespace simulator {

/// How the printer is connected. It decides where it can be reached, and that a group of procedure U1 is
/// answered on a serial line, on USB as the printer's configuration says, and not at all on Ethernet.
enum class Line { Serial, Ethernet, Usb };

/// What the printer does otherwise than it should, at some occurrences of an exchange (counted from 1). A
/// module, group or bank counts as programmed all the same only when the answer is the printer's own or holds
/// 0xAA.
struct Fault {
    static constexpr int kAlways = INT_MAX;

    Exchange exchange = Exchange::Status;
    int first = 1;               ///< first occurrence that is hit
    int last = kAlways;          ///< last one
    bool ownAnswer = false;      ///< the printer's own answer goes out, only later
    std::vector<Bytes> answers;  ///< what goes out in its place, one portion each; none is silence
    std::uint64_t delayMs = 0;   ///< before the first portion, on top of the printer's own time
    std::uint64_t gapMs = 0;     ///< between portions
    bool endless = false;        ///< after the last portion the first one follows again, for ever
    /// The connection is cut after this many bytes of a module, group or bank.
    std::optional<std::size_t> cutAfter;

    Fault& At(int occurrence) { return Between(occurrence, occurrence); }
    Fault& Between(int from, int to) {
        first = from;
        last = to;
        return *this;
    }

    static Fault Silence(Exchange exchange);
    /// The printer says `answer` (any bytes, in one portion).
    static Fault Says(Exchange exchange, Bytes answer);
    static Fault Late(Exchange exchange, std::uint64_t ms);
    static Fault Endless(Exchange exchange, Bytes portion, std::uint64_t everyMs);
    /// A framed refusal with an error code. Only for the framed requests.
    static Fault Refusal(Exchange exchange, int code);
    static Fault Cut(Exchange exchange, std::size_t afterBytes);
};

/// What a simulated printer is and does. Times are simulated milliseconds.
struct PrinterOptions {
    static constexpr std::size_t kBankSize = 4096;
    static constexpr unsigned kBankCount = 8;
    static constexpr unsigned kOffersSetup = 0x01;
    static constexpr unsigned kOffersModules = 0x04;
    static constexpr unsigned kOffersUpgrade = 0x20;

    PrinterOptions();

    Line line = Line::Ethernet;
    std::string mode = "U3";
    std::string
        configuration;  ///< of the upgrade information, as between "<" and ">"; "0;" and U1: no answer on USB
    int family = 12;
    int model = 3;
    int customization = 1;
    std::string release = "1.05";
    /// Reported after an upgrade; without it the release that the new firmware names (see SampleFiles).
    std::optional<std::string> releaseAfter;
    unsigned char status = 0x5D;
    std::optional<std::uint16_t>
        extendedStatus;  ///< with it the status answer is 0xFF and this the second one
    std::string protocolVersion = "1.00";
    unsigned dataAvailable = kOffersSetup | kOffersModules | kOffersUpgrade;
    std::vector<std::string> setupLines;
    std::vector<std::string> modules;  ///< codes of the modules that the printer knows

    std::size_t bankSize = kBankSize;
    /// Banks of the printer's flash. 0: as many as the start command says (not for U5, whose printer has to
    /// know which bank is the last).
    unsigned bankCount = kBankCount;

    UsbIdentity usb;  ///< while on USB with its firmware running
    std::optional<std::string>
        serialInCodePhase;  ///< serial number between U5's code group and its last bank
    std::optional<std::string> serialAfterUpgrade;  ///< and with new firmware

    std::uint64_t answerMs = 2;      ///< from a request to its answer
    std::uint64_t programMs = 1500;  ///< to program the firmware, or U5's code group or last bank
    std::uint64_t bankMs = 300;      ///< to program one data bank of U5
    std::uint64_t moduleMs = 800;    ///< to program a module
    /// From the answer to a group to the restart that follows it, enough for a host that opens the line once
    /// more. A group that is not answered is programmed by a printer that has left its line already.
    std::uint64_t leaveMs = 5000;
    std::uint64_t restartMs = 8000;    ///< away before the printer is back
    std::uint64_t bootDelayMs = 2000;  ///< away before its boot device appears; kNever for never

    /// Makes the chip that the printer becomes on its boot entry command; without it nothing appears.
    std::function<std::unique_ptr<BootDevice>()> bootDevice;

    std::vector<Fault> faults;  ///< the first one that fits an occurrence holds

    /// Told of each event in plain words, with the time it happened.
    std::function<void(std::uint64_t now, const std::string& event)> onEvent;
};

}  // namespace simulator
