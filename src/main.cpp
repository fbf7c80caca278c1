// The front end: options, what the run does, the verdict.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <memory>
#include <string_view>

#include "package/ModuleData.h"
#include "package/PSWFile.h"
#include "port/ComPortEth.h"
#include "port/ComPortRs232.h"
#include "port/ComPortUsb.h"
#include "printer/PrinterComm.h"
#include "support/GenericFunctions.h"
#include "support/Listener.h"
#include "support/Log.h"
#include "support/Text.h"
#include "terminal/Session.h"

// The operations below are what the tests of the command line call; the program enters through `main` alone.
void parse_args(int argc, char** argv);
bool parse_filename(char* name, int* isMod);
bool parse_type(char* text, COMMPORTTYPE* type);
bool parse_device(char* text, COMMPORTTYPE type, CommPortSettings* settings);

// The run's options, process-wide: written while the arguments are parsed and only read afterwards.
char filename[1024];
char device[1024];
char type[1024];
int usbdevlist = 0;
int printerversion = 0;
int enable_debug = 0;
int timem = 1;
int upg_components = 3;
int isMod = 0;
COMMPORTTYPE commPortType = COMMPORT_NONE;

namespace {

constexpr const char* kRelease = "1.10";
constexpr int kFailure = -1;
constexpr std::size_t kTextSize = 8192;

void PrintUsage(const char* program) {
    std::printf("usage: %s --version\n", program);
    std::printf("usage: %s --usbdevlist [-v]\n", program);
    std::printf("usage: %s --printerversion -t <usb|eth|ser> -d <device> [-v]\n", program);
    std::printf("usage: %s -f <filename> -t <usb|eth|ser> -d <device> [-v] [-m 2] \n", program);
    std::fputs(
        "        where <device> is:\n"
        "              for usb: device name as returned by usbdevlist or ANY for first device in list\n"
        "              for eth: <ip address>:<port>\n"
        "              for ser: <uart device>:<baudrate>:<flow control>\n"
        "                       flow control can be SW, HW or NONE\n"
        "       -m:   timeout multiplier value \n"
        "       -v:   enable dubug verbosity\n"
        "       -c:   if PFW select components to download can be \n"
        "       \t\t\t1: FW  \n"
        "       \t\t\t2: MODULES  \n"
        "       \t\t\t3: ALL [default] \n",
        stdout);
}

/// The number at the start of a word, 0 when there is none; one beyond an int is held at its end.
int NumberOf(const char* word) {
    const long value = std::strtol(word, nullptr, 10);
    if (value > INT32_MAX) return INT32_MAX;
    return value < INT32_MIN ? INT32_MIN : static_cast<int>(value);
}

/// Prints the last line of a run.
void PrintLast(const char* line) {
    Listener::Tell(Listener::Event::kOutput, 0, line);
    std::puts(line);
}

[[noreturn]] void EndRun(const char* line) {
    PrintLast(line);
    std::exit(kFailure);
}

/// Nothing throws but an allocation that fails, perhaps without the memory for its own exception.
[[noreturn]] void EndWithoutMemory() {
    if (printerversion == 0 && usbdevlist == 0) std::puts("UPGRADE FAILURE");
    std::_Exit(kFailure);
}

/// A standard stream that was closed before the run is opened on nothing. Left closed, its number would go to
/// the printer's port, and every line printed would be sent to the printer.
void OccupyStandardStreams() {
    for (int stream = STDIN_FILENO; stream <= STDERR_FILENO; ++stream) {
        if (fcntl(stream, F_GETFD) == -1 && open("/dev/null", O_RDWR) != stream) std::_Exit(kFailure);
    }
}

[[noreturn]] void ListUsbPrinters() {
    char list[kTextSize] = {};
    char error[kTextSize] = {};
    const bool listed = CComPortUsb::GetDeviceList(list, sizeof list, error, sizeof error, nullptr);
    Listener::Tell(Listener::Event::kOutput, 0, listed && list[0] != '\0' ? "" : "LIST USB DEVICES");
    if (listed)
        std::printf("LIST USB DEVICES:\n%s\n", list);
    else
        std::puts("LIST USB DEVICES ERROR");
    std::exit(0);
}

/// The first printer of the USB list, as a device name. False when the list cannot be read or is empty.
bool FirstUsbPrinter(CommPortSettings* settings) {
    char list[1024] = {};
    char error[1024] = {};
    if (!CComPortUsb::GetDeviceList(list, sizeof list, error, sizeof error, nullptr)) return false;
    const std::string_view all(list);
    const std::string_view first = all.substr(0, all.find('\n'));
    if (first.empty()) return false;
    CopyText(settings->szUsbDevice, first);
    return true;
}

bool ParseUsbDevice(std::string_view text, CommPortSettings* settings) {
    settings->type = COMMPORT_USB;
    if (text.empty()) return false;
    if (text == "ANY") return FirstUsbPrinter(settings);
    CopyText(settings->szUsbDevice, text);
    return true;
}

/// The number in `text` by the rules of ParseCheckInt.
bool ParseNumber(std::string_view text, int* value) {
    char word[1024];
    CopyText(word, text);
    return GenericFunctions::ParseCheckInt(word, value);
}

bool ParseEthDevice(std::string_view text, CommPortSettings* settings) {
    const std::size_t colon = text.find(':');
    int port = 0;
    if (colon == std::string_view::npos || !ParseNumber(text.substr(colon + 1), &port)) return false;
    settings->type = COMMPORT_ETHERNET;
    settings->iEthPort = port;
    CopyText(settings->szEthAddress, text.substr(0, colon));
    return true;
}

bool ParseFlowControl(std::string_view word, int* flowControl) {
    constexpr std::string_view kWords[] = {"NONE", "HW", "SW"};
    for (int value = 0; value < 3; ++value) {
        if (word != kWords[value]) continue;
        *flowControl = value;
        return true;
    }
    return false;
}

bool ParseSerialDevice(std::string_view text, CommPortSettings* settings) {
    settings->type = COMMPORT_SERIAL;
    const std::size_t first = text.find(':');
    if (first == std::string_view::npos) return false;
    const std::size_t second = text.find(':', first + 1);
    int baudrate = 0;
    if (second == std::string_view::npos ||
        !ParseNumber(text.substr(first + 1, second - first - 1), &baudrate))
        return false;
    // Written even when the flow word turns out to be unknown.
    settings->iBaudrate = baudrate;
    CopyText(settings->szSerDevice, text.substr(0, first));
    return ParseFlowControl(text.substr(second + 1), &settings->iFlowControl);
}

std::shared_ptr<CComPort> CreatePort(COMMPORTTYPE kind) {
    switch (kind) {
        case COMMPORT_ETHERNET:
            return std::make_shared<CComPortEth>();
        case COMMPORT_USB:
            return std::make_shared<CComPortUsb>(timem);
        case COMMPORT_SERIAL:
            return std::make_shared<CComPortRs232>();
        default:
            return nullptr;
    }
}

bool WriteModule(PrinterComm& printer, CComPort* port, CommPortSettings* settings) {
    const auto module = std::make_unique<ModuleData>();
    if (!module->LoadModuleFromFile(filename)) EndRun("LoadModuleFromFile FAILURE");
    if (enable_debug != 0) {
        char text[kTextSize] = {};
        module->GetFileInfo(text, sizeof text);
        std::printf("MODULE INFO:\n%s\n#######\n", text);
    }
    return printer.PrnCom_WriteModule(port, module.get(), settings, nullptr);
}

bool UpgradeFirmware(PrinterComm& printer, CComPort* port, CommPortSettings* settings) {
    const auto package = std::make_unique<PSWFile>();
    if (!package->LoadPSWFromFile(filename, true)) EndRun("LoadPSWFromFile FAILURE");
    Session::Know(*package);
    if (enable_debug != 0) {
        char text[kTextSize] = {};
        package->GetFileInfo(text, sizeof text);
        std::printf("PSW FILE INFO:\n%s\n#######\n", text);
    }
    return printer.PrnCom_UpgradePrinter(port, package.get(), settings, &package->pswComponents);
}

/// Everything after the options are parsed. Returns the exit status; what it made is released on return.
int Run() {
    if (!parse_filename(filename, &isMod) && printerversion == 0) EndRun("filename argument not valid");
    if (!parse_type(type, &commPortType)) EndRun("type argument not valid");
    CommPortSettings settings;
    if (!parse_device(device, commPortType, &settings)) EndRun("device argument not valid");

    PrinterComm printer(upg_components, timem);
    const std::shared_ptr<CComPort> port = CreatePort(commPortType);
    if (printerversion != 0) {
        if (!printer.PrnCom_ReadSetupData(port.get(), &settings))
            Listener::Tell(Listener::Event::kOutput, 0, "--printerversion");
        return 0;
    }
    const bool done = isMod == 1 ? WriteModule(printer, port.get(), &settings)
                                 : UpgradeFirmware(printer, port.get(), &settings);
    PrintLast(done ? "UPGRADE SUCCESS" : "UPGRADE FAILURE");
    return done ? 0 : kFailure;
}

}  // namespace

/// Fills the options from the argument words, or prints usage or release and ends the process.
void parse_args(int argc, char** argv) {
    CopyText(filename, "");
    CopyText(device, "");
    CopyText(type, "");
    timem = 1;
    const char* program = argc > 0 ? argv[0] : "ticketflash";
    if (argc < 2 || std::strcmp(argv[1], "--help") == 0) {
        PrintUsage(program);
        std::exit(0);
    }
    if (std::strcmp(argv[1], "--version") == 0) {
        std::printf("Release: %s\n", kRelease);
        std::exit(0);
    }

    // kept: a value word is looked at again as an option of its own, so that "-f -v" names a file and turns
    // the log on. An option that needs a value and is the last word keeps its default.
    for (int i = 1; i < argc;) {
        const std::string_view word(argv[i]);
        const char* value = ++i < argc ? argv[i] : nullptr;
        if (word == "--usbdevlist") usbdevlist = 1;
        if (word == "--printerversion") printerversion = 1;
        if (word == "-v") enable_debug = 1;
        if (value == nullptr) continue;
        if (word == "-f") CopyText(filename, value);
        if (word == "-t") CopyText(type, value);
        if (word == "-d") CopyText(device, value);
        if (word == "-m") timem = NumberOf(value);
        if (word == "-c") upg_components = NumberOf(value);
        if (upg_components < 1 || upg_components > 3) upg_components = 3;
    }
    std::printf("ARGS: usbdevlist=%d filename=%s type=%s device=%s\n", usbdevlist, filename, type, device);
}

/// True when the file exists and its ending is known; sets `isModule` to 1 for a module, 0 for a package.
bool parse_filename(char* name, int* isModule) {
    struct Ending {
        std::string_view text;
        int isModule;
    };
    constexpr Ending kEndings[] = {{".mod", 1}, {".Mod", 1}, {".MOD", 1}, {".psw", 0}, {".Psw", 0},
                                   {".PSW", 0}, {".pfw", 0}, {".Pfw", 0}, {".PFW", 0}};
    struct stat status {};
    const std::string_view text(name);
    if (stat(name, &status) != 0 || text.size() <= 4) return false;
    for (const Ending& ending : kEndings) {
        if (text.substr(text.size() - 4) != ending.text) continue;
        *isModule = ending.isModule;
        return true;
    }
    return false;
}

/// True for a known word. An empty text leaves `kind` alone; an unknown one sets it to none.
bool parse_type(char* text, COMMPORTTYPE* kind) {
    const std::string_view word(text);
    if (word.empty()) return false;
    *kind = word == "eth"   ? COMMPORT_ETHERNET
            : word == "usb" ? COMMPORT_USB
            : word == "ser" ? COMMPORT_SERIAL
                            : COMMPORT_NONE;
    return *kind != COMMPORT_NONE;
}

/// True when the text is well formed for the type; fills the settings, partly even when it is not.
bool parse_device(char* text, COMMPORTTYPE kind, CommPortSettings* settings) {
    switch (kind) {
        case COMMPORT_USB:
            return ParseUsbDevice(text, settings);
        case COMMPORT_ETHERNET:
            return ParseEthDevice(text, settings);
        case COMMPORT_SERIAL:
            return ParseSerialDevice(text, settings);
        default:
            return false;
    }
}

int main(int argc, char** argv) {
    OccupyStandardStreams();
    // A run that is cut short leaves every line it printed, also in a pipe or a file.
    std::setvbuf(stdout, nullptr, _IOLBF, 0);
    // A reader of the log that goes away must not end the program in the middle of a bank.
    std::signal(SIGPIPE, SIG_IGN);
    std::set_terminate(EndWithoutMemory);
    parse_args(argc, argv);
    if (enable_debug != 0) Log::SetLogEnable(1, true);
    if (isatty(STDERR_FILENO) != 0)
        Session::Begin(
            {{argv + 1, argv + argc}, filename, type, device, timem, upg_components, enable_debug != 0});
    if (usbdevlist != 0) ListUsbPrinters();
    std::exit(Run());
}
