#include "simulator/SimulatorArguments.h"

#include <getopt.h>

#include <algorithm>
#include <array>
#include <sstream>
#include <stdexcept>
#include <type_traits>
#include <vector>

namespace simulator {

namespace {

unsigned long Number(const std::string& text, unsigned long most) {
    std::size_t used = 0;
    unsigned long value = 0;
    try {
        value = std::stoul(text, &used, 10);
    } catch (const std::logic_error&) {
        used = 0;
    }
    if (used == 0 || used != text.size() || text[0] == '-' || value > most)
        throw std::invalid_argument("not a number from 0 to " + std::to_string(most) + ": " + text);
    return value;
}

constexpr unsigned long kMostMs = 3600000;

Bytes HexBytes(const std::string& text) {
    if (text.empty() || text.size() % 2 != 0 ||
        text.find_first_not_of("0123456789abcdefABCDEF") != std::string::npos)
        throw std::invalid_argument("not bytes in hexadecimal: " + text);
    Bytes bytes;
    for (std::size_t i = 0; i < text.size(); i += 2)
        bytes.push_back(static_cast<unsigned char>(std::stoul(text.substr(i, 2), nullptr, 16)));
    return bytes;
}

Fault FaultOf(Exchange exchange, const std::string& what) {
    const std::size_t colon = what.find(':');
    const std::string kind = what.substr(0, colon);
    const std::string value = colon == std::string::npos ? "" : what.substr(colon + 1);
    if (kind == "silence") return Fault::Silence(exchange);
    if (kind == "late") return Fault::Late(exchange, Number(value, kMostMs));
    if (kind == "refuse") return Fault::Refusal(exchange, static_cast<int>(Number(value, 999)));
    if (kind == "cut") return Fault::Cut(exchange, Number(value, INT_MAX));
    return Fault::Says(exchange, HexBytes(what));
}

/// "NAME[:OCCURRENCE]=WHAT"
Fault ParseFault(const std::string& text) {
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos) throw std::invalid_argument("a fault is NAME[:N]=WHAT, not " + text);
    const std::string where = text.substr(0, equals);
    const std::size_t colon = where.find(':');
    const auto exchange = ExchangeNamed(where.substr(0, colon));
    if (!exchange) throw std::invalid_argument("no such exchange: " + where);
    Fault fault = FaultOf(*exchange, text.substr(equals + 1));
    if (colon != std::string::npos) fault.At(static_cast<int>(Number(where.substr(colon + 1), INT_MAX)));
    return fault;
}

void SetMode(PrinterOptions& printer, const std::string& mode) {
    if (mode.size() != 2 || mode[0] != 'U' || mode[1] < '1' || mode[1] > '6')
        throw std::invalid_argument("a mode is U1 to U6, not " + mode);
    printer.mode = mode;
}

using Arguments = SimulatorArguments;
using Options = PrinterOptions;

// What a word does with the text behind it.

template <bool Arguments::*kField>
void Set(Arguments& arguments, const std::string&) {
    arguments.*kField = true;
}

template <auto kField>
void Text(Arguments& arguments, const std::string& text) {
    arguments.printer.*kField = text;
}

template <auto kField, unsigned long kMost>
void Count(Arguments& arguments, const std::string& text) {
    auto& field = arguments.printer.*kField;
    field = static_cast<std::decay_t<decltype(field)>>(Number(text, kMost));
}

struct Word {
    const char* name;
    const char* value;  // what follows, for the help; null: nothing does
    const char* help;
    void (*apply)(Arguments&, const std::string&);
};

const std::array<Word, 23> kWords{{
    {"tcp", "PORT", "listen on 127.0.0.1 (0: any free port); what it does without a word is --tcp 9100",
     [](Arguments& a, const std::string& v) { a.tcpPort = static_cast<std::uint16_t>(Number(v, 65535)); }},
    {"serial", nullptr, "a pseudo-terminal; its path is printed", Set<&Arguments::serial>},
    {"usb", nullptr,
     "an emulated USB bus; prints the environment of a program that is to see it. With --tcp or\n"
     "--serial only the boot device is on it",
     Set<&Arguments::usb>},
    {"samples", "DIR", "write sample packages and modules, and end",
     [](Arguments& a, const std::string& v) { a.samples = v; }},
    {"mode", "U1..U6", "upgrade procedure (U3)",
     [](Arguments& a, const std::string& v) { SetMode(a.printer, v); }},
    {"configuration", "TEXT", "upgrade configuration settings; \"0;\": U1 is not answered on USB",
     Text<&Options::configuration>},
    {"release", "TEXT", "firmware release (1.05)", Text<&Options::release>},
    {"release-after", "TEXT", "release after an upgrade (what the firmware names)",
     Text<&Options::releaseAfter>},
    {"family", "N", "printer family (12), 0: any", Count<&Options::family, 65535>},
    {"model", "N", "printer model (3)", Count<&Options::model, 65535>},
    {"customization", "N", "customization (1)", Count<&Options::customization, 65535>},
    {"extended-status", "N", "answer the status with its extended form, of this value",
     Count<&Options::extendedStatus, 65535>},
    {"data-available", "N", "mask of what the printer offers (37)", Count<&Options::dataAvailable, 255>},
    {"bank-size", "BYTES", "of a firmware bank (4096)", Count<&Options::bankSize, 0xFFFFFF>},
    {"banks", "N", "banks of the printer's flash (8), 0: as told", Count<&Options::bankCount, 65535>},
    {"usb-serial", "TEXT", "serial number on USB (SIM0001)",
     [](Arguments& a, const std::string& v) { a.printer.usb.serial = v; }},
    {"program-ms", "MS", "time to program firmware (1500)", Count<&Options::programMs, kMostMs>},
    {"module-ms", "MS", "time to program a module (800)", Count<&Options::moduleMs, kMostMs>},
    {"restart-ms", "MS", "time that a restart takes (8000)", Count<&Options::restartMs, kMostMs>},
    {"boot-delay-ms", "MS", "time until the boot device appears (2000)",
     Count<&Options::bootDelayMs, kMostMs>},
    {"fault", "NAME[:N]=WHAT",
     "at exchange NAME (status, release, module, bank-group, ...), each time or the Nth:\n"
     "silence, late:MS, refuse:CODE, cut:BYTES or the bytes to say in hexadecimal",
     [](Arguments& a, const std::string& v) { a.printer.faults.push_back(ParseFault(v)); }},
    {"rate", "N", "time runs N times as fast",
     [](Arguments& a, const std::string& v) { a.rate = static_cast<unsigned>(Number(v, 10000)); }},
    {"help", nullptr, "this text", Set<&Arguments::help>},
}};

}  // namespace

SimulatorArguments SimulatorArguments::Parse(int count, char** words) {
    std::vector<option> table;
    for (std::size_t i = 0; i < kWords.size(); ++i)
        table.push_back({kWords[i].name, kWords[i].value != nullptr ? required_argument : no_argument,
                         nullptr, static_cast<int>(i)});
    table.push_back({});
    SimulatorArguments arguments;
    optind = 0;
    opterr = 0;
    for (int found = 0; (found = getopt_long(count, words, ":", table.data(), nullptr)) != -1;) {
        if (found == '?' || found == ':')
            throw std::invalid_argument(std::string("unknown or incomplete option: ") + words[optind - 1]);
        kWords[static_cast<std::size_t>(found)].apply(arguments, optarg != nullptr ? optarg : "");
    }
    if (optind < count) throw std::invalid_argument(std::string("unknown word: ") + words[optind]);
    if (arguments.tcpPort && arguments.serial) throw std::invalid_argument("--tcp or --serial, not both");
    if (!arguments.tcpPort && !arguments.serial && !arguments.usb) arguments.tcpPort = 9100;
    arguments.printer.line = arguments.tcpPort ? Line::Ethernet : arguments.serial ? Line::Serial : Line::Usb;
    return arguments;
}

std::string SimulatorArguments::Help() {
    constexpr std::size_t kColumn = 34;
    std::ostringstream text;
    text << "printer-simulator [options]\nA thermal printer to upgrade, without the printer.\n\n";
    for (const Word& word : kWords) {
        std::string left =
            std::string("  --") + word.name + (word.value != nullptr ? std::string(" ") + word.value : "");
        left.resize(std::max(kColumn, left.size() + 1), ' ');
        text << left;
        for (const char* c = word.help; *c != '\0'; ++c) {
            text << *c;
            if (*c == '\n') text << std::string(kColumn, ' ');
        }
        text << '\n';
    }
    text << "\nSIGHUP switches the printer off and on. Lines that begin with \"refused\" tell what a printer "
            "would\n"
            "not have stood.\n";
    return text.str();
}

}  // namespace simulator
