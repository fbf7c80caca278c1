#include "terminal/Session.h"

#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>

#include "port/PrinterVendorId.h"
#include "port/UsbDevices.h"

using Words::Cause;

namespace {

std::string NodeOf(libusb_device* device) {
    std::array<char, 40> node{};
    std::snprintf(node.data(), node.size(), "/dev/bus/usb/%03d/%03d", libusb_get_bus_number(device),
                  libusb_get_device_address(device));
    return node.data();
}

bool Is(const std::string& word, std::initializer_list<const char*> words) {
    return std::find(words.begin(), words.end(), word) != words.end();
}

/// Whether the word begins with a number, and nothing follows it.
bool IsNumber(const std::string& word) {
    char* end = nullptr;
    static_cast<void>(std::strtol(word.c_str(), &end, 10));
    return !word.empty() && *end == '\0';
}

using Say = std::function<void(Cause, const Words::Facts&)>;

void ForeseeWords(const RunOptions& run, const Say& say) {
    for (std::size_t i = 0; i < run.words.size(); ++i) {
        const std::string& word = run.words[i];
        if (Is(word, {"-v", "--printerversion", "--usbdevlist"})) continue;
        if (!Is(word, {"-f", "-t", "-d", "-m", "-c"})) {
            say(Cause::kUnknownWord, {{"word", word}});
            continue;
        }
        const std::string value = ++i < run.words.size() ? run.words[i] : "";
        if (Is(word, {"-m", "-c"}) && !IsNumber(value))
            say(Cause::kNoNumber, {{"option", word}, {"word", value}});
    }
}

bool LooksLikeAnother(const RunOptions& run) {
    const bool bars = std::count(run.device.begin(), run.device.end(), '|') == 2;
    const bool line = run.device.rfind("/dev/", 0) == 0;
    if (run.type == "usb") return run.device != "ANY" && !run.device.empty() && !bars;
    if (run.type == "eth") return bars || line;
    return run.type == "ser" && !run.device.empty() && run.device[0] != '/';
}

/// A name opens each printer of its product whose serial number ends like its own.
void ForeseeUsb(const RunOptions& run, const Say& say) {
    const UsbLook look;
    const bool any = run.device == "ANY";
    if (any && look.printers.empty()) return;
    const std::string name = any ? look.printers[0] : run.device;
    const std::size_t product = name.find('|');
    if (product == std::string::npos || name.size() < product + 7) return;
    if (std::isdigit(static_cast<unsigned char>(name.back())) == 0)
        return say(Cause::kUsbNoName, {{"name", name.substr(product + 6)}});
    std::vector<std::string> opened;
    for (const std::string& each : look.printers) {
        const bool fits = each.compare(product, 6, name, product, 6) == 0 && each.back() == name.back();
        if (any || fits) opened.push_back(each);
    }
    if (opened.size() > 1 || (opened.size() == 1 && opened[0] != name))
        say(Cause::kUsbTaken, {{"list", Listed(opened)}});
}

}  // namespace

UsbLook::UsbLook() {
    const auto look = [this](UsbDevice device) {
        const std::string name = device.vendor + "|" + device.product;
        if (Is(device.vendor, {"045B", "10C4"})) loaders.push_back(name);
        if (device.vendor != PRINTER_VENDOR_ID) return false;
        const UsbHandle handle = device.Open();
        if (handle == nullptr) device.serial = "?";
        if (handle != nullptr) device.ReadSerial(handle);
        if (handle == nullptr && access(NodeOf(device.device).c_str(), R_OK | W_OK) != 0)
            forbidden = NodeOf(device.device);
        printers.push_back(name + "|" + device.serial);
        return false;
    };
    VisitUsbDevices(
        look, [](const char*) {}, [](const UsbDevice&) {});
}

void Foresee(const RunOptions& run, const Say& say) {
    ForeseeWords(run, say);
    if (LooksLikeAnother(run)) {
        say(Cause::kOtherPort, {{"device", run.device}, {"type", run.type}});
    } else if (run.type == "usb") {
        ForeseeUsb(run, say);
    }
}

Cause LookAtFile(const std::string& name) {
    struct stat status {};
    if (stat(name.c_str(), &status) != 0) return Cause::kFileAbsent;
    if (!S_ISREG(status.st_mode)) return Cause::kFileDirectory;
    if (access(name.c_str(), R_OK) != 0) return Cause::kFileUnreadable;
    return status.st_size == 0 ? Cause::kFileEmpty : Cause::kNone;
}

std::string Listed(const std::vector<std::string>& texts) {
    std::string list;
    for (const std::string& text : texts) list += (list.empty() ? "" : ", ") + text;
    return list;
}
