// Any words as a command line, and any text as a device of each kind. What would end the process (no word,
// help and release in the first place) is left out.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "port/CommPortSettings.h"
#include "port/UsbDevices.h"

void parse_args(int argc, char** argv);
bool parse_filename(char* name, int* isMod);
bool parse_type(char* text, COMMPORTTYPE* type);
bool parse_device(char* text, COMMPORTTYPE type, CommPortSettings* settings);
extern char filename[1024];
extern char device[1024];
extern char type[1024];
extern int upg_components;

namespace {

void Check(bool holds) {
    if (!holds) std::abort();
}

/// A device that was understood is made of what the text holds.
void CheckDevice(const std::string& text, COMMPORTTYPE kind) {
    std::string word = text;
    CommPortSettings settings;
    if (!parse_device(word.data(), kind, &settings)) return;
    Check(settings.type == kind);
    if (kind == COMMPORT_ETHERNET) {
        const std::string host = text.substr(0, text.find(':'));
        Check(host.compare(0, sizeof settings.szEthAddress - 1, settings.szEthAddress) == 0 ||
              std::strlen(settings.szEthAddress) == sizeof settings.szEthAddress - 1);
    }
    if (kind == COMMPORT_SERIAL) Check(settings.iFlowControl >= 0 && settings.iFlowControl <= 2);
}

/// The fields of a USB device name, put together, are its beginning.
void CheckName(const std::string& text) {
    char vid[512], pid[512], serial[512];
    ExtractUsbParamsFromName(text.c_str(), vid, pid, serial, sizeof vid);
    const std::string whole = std::string(vid) + "|" + pid + "|" + serial;
    const bool isShort = text.size() < sizeof vid;
    Check(!isShort || serial[0] == '\0' || whole == text);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int* /*argc*/, char*** /*argv*/) {
    return std::freopen("/dev/null", "w", stdout) == nullptr ? 1 : 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::string input(data, data + size);
    std::vector<std::string> words{"ticketflash", "-"};
    for (const char c : input) {
        if (c == '\0' || c == '\n') {
            words.emplace_back();
        } else {
            words.back() += c;
        }
    }
    const auto ends = [](const std::string& word) { return word == "--help" || word == "--version"; };
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    if (!ends(words[1])) parse_args(static_cast<int>(argv.size()), argv.data());
    Check(upg_components >= 1 && upg_components <= 3);
    int isModule = 0;
    parse_filename(filename, &isModule);
    COMMPORTTYPE kind = COMMPORT_NONE;
    parse_type(type, &kind);
    // "ANY" asks the bus of the machine.
    for (const std::string& word : words) {
        if (word == "ANY") continue;
        for (const COMMPORTTYPE each : {COMMPORT_NONE, COMMPORT_SERIAL, COMMPORT_ETHERNET, COMMPORT_USB})
            CheckDevice(word, each);
        CheckName(word);
    }
    return 0;
}
