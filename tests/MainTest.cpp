// The command line: how words become options, and what is refused before a printer is touched.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "harness/LogCapture.h"
#include "port/CommPortSettings.h"

int ticketflash_main(int argc, char** argv);
void parse_args(int argc, char** argv);
bool parse_filename(char* name, int* isMod);
bool parse_type(char* text, COMMPORTTYPE* type);
bool parse_device(char* text, COMMPORTTYPE type, CommPortSettings* settings);
extern int usbdevlist, enable_debug, timem, upg_components;

namespace {

/// The parts of a text, in which "@" stands for 1023 times "x".
Lines Split(const std::string& text, char separator = ' ') {
    std::istringstream in(std::regex_replace(text, std::regex("@"), std::string(1023, 'x')));
    Lines words;
    for (std::string word; std::getline(in, word, separator);) words.push_back(word);
    return words;
}

/// The text with "x*1023" for such a run.
std::string Shortened(std::string text) {
    for (std::size_t at = 0; (at = text.find(std::string(100, 'x'), at)) != std::string::npos; ++at) {
        const std::size_t run = text.find_first_not_of('x', at) - at;
        text.replace(at, run, "x*" + std::to_string(run));
    }
    return text;
}

/// Calls `function` with the words behind the program's name.
template <class Function>
void Call(Function function, Lines words) {
    words.insert(words.begin(), "ticketflash");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    function(static_cast<int>(argv.size()), argv.data());
}

// Words and what is echoed, then debug, multiplier, components. File names and whether they are taken, 1 for
// a module. Words for a port and its type, -1 for none. Devices and whether they are taken; what is set then,
// -7 where it is left alone.
TEST(CommandLine, WordsBecomeOptions) {
    std::ostringstream said;
    for (const char* words : {"--usbdevlist -f a.mod -t eth -d h:1", "-f @y -d @ -t @@", "-f x.psw -f y.psw",
                              "-f -v", "-m -3 -c abc", "-m abc -c 1 -c 7", "-m 99999999999 -c 1",
                              "-c 2 -v -m", "-V --help --version -f"}) {
        usbdevlist = enable_debug = 0;
        upg_components = 3;
        testing::internal::CaptureStdout();
        Call(parse_args, Split(words));
        said << words << " => " << Split(testing::internal::GetCapturedStdout(), '\n').at(0) << " "
             << enable_debug << " " << timem << " " << upg_components << "; ";
    }
    ASSERT_EQ(chdir(testing::TempDir().c_str()), 0);
    said << "\n";
    for (std::string& name : Split("a.mod a.Mod a.MOD a.psw a.Psw a.PSW a.pfw a.Pfw a.PFW .psw a.mOd a.pSw "
                                   "a.PfW a.psw.bak psw")) {
        std::ofstream(name) << "x";
        int isMod = -1;
        said << name << " => " << parse_filename(name.data(), &isMod) << " " << isMod << "; ";
        std::remove(name.c_str());
        EXPECT_FALSE(parse_filename(name.data(), &isMod)) << name << " is not there";
    }
    said << "\n";
    COMMPORTTYPE kind = COMMPORT_USB;
    for (std::string& word : Split(",eth,ETH,ser,serial,usb,eth ", ','))
        said << word << " => " << parse_type(word.data(), &kind) << " " << kind << "; ";
    said << "\n";
    const std::pair<COMMPORTTYPE, const char*> devices[] = {
        {COMMPORT_ETHERNET, "@:9100:7,192.168.1.5,h:x"},
        {COMMPORT_SERIAL,
         "/dev/ttyS0:115200:SW,@:7:NONE,/dev/ttyS0:115200:XON,/dev/ttyS0:fast:HW,/dev/ttyS0:1"},
        {COMMPORT_USB, ",@"}};
    for (const auto& [type, words] : devices)
        for (std::string& word : Split(words, ',')) {
            CommPortSettings now;
            now.iEthPort = now.iBaudrate = now.iFlowControl = -7;
            said << type << " " << word << " => " << parse_device(word.data(), type, &now) << " " << now.type
                 << " <" << now.szEthAddress << now.szSerDevice << now.szUsbDevice << "> " << now.iEthPort
                 << " " << now.iBaudrate << " " << now.iFlowControl << "; ";
        }
    ExpectRecorded("command-line", Shortened(said.str() + "\n"));
}

// The process ends in each of these; the run's output is looked at on the child's standard error.
TEST(CommandLineDeathTest, RunsThatEndBeforeAPrinterIsTouched) {
    std::string said;
    for (const std::string words : {"", "--help --version", "--version -v", "-f none.psw", "--printerversion",
                                    "--printerversion -t eth -d h"}) {
        const auto run = [&] {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            Call(ticketflash_main, Split(words));
        };
        const auto ends = [&](int status) {
            said += words + " => " + std::to_string(WEXITSTATUS(status)) + " ";
            return WIFEXITED(status);
        };
        const auto prints = [&](const std::string& output) { return !(said += output + "; ").empty(); };
        EXPECT_EXIT(run(), ends, testing::Truly(prints));
    }
    std::replace(said.begin(), said.end(), '\n', '|');
    ExpectRecorded("endings", said + "\n");
}

}  // namespace
