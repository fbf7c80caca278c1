// The command line: how words become options, and what is refused before a printer is touched.
#include <gmock/gmock.h>
#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "port/CommPortSettings.h"

int ticketflash_main(int argc, char** argv);
void parse_args(int argc, char** argv);
bool parse_filename(char* name, int* isMod);
bool parse_type(char* text, COMMPORTTYPE* type);
bool parse_device(char* text, COMMPORTTYPE type, CommPortSettings* settings);
extern int usbdevlist, enable_debug, timem, upg_components;

namespace {

using Words = std::vector<std::string>;

Words Split(const std::string& text) {
    std::istringstream in(text);
    return {std::istream_iterator<std::string>(in), {}};
}

/// Calls `function` with the words behind the program's name.
template <class Function>
void Call(Function function, Words words) {
    words.insert(words.begin(), "ticketflash");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    function(static_cast<int>(argv.size()), argv.data());
}

TEST(CommandLine, OptionsAreScannedWordByWord) {
    const std::string longest(1023, 'x');
    const std::pair<std::string, std::string> rows[] = {
        // what is echoed; debug, multiplier, components
        {"--usbdevlist -f a.mod -t eth -d h:1", "1 filename=a.mod type=eth device=h:1\n0 1 3"},
        {"-f " + longest + "y -d " + longest + " -t " + longest + longest,
         "0 filename=" + longest + " type=" + longest + " device=" + longest + "\n0 1 3"},
        {"-f x.psw -f y.psw", "0 filename=y.psw type= device=\n0 1 3"},
        {"-f -v", "0 filename=-v type= device=\n1 1 3"},  // the value is an option of its own, too
        {"-m -3 -c abc", "0 filename= type= device=\n0 -3 3"},
        {"-m abc -c 1 -c 7", "0 filename= type= device=\n0 0 3"},
        {"-m 99999999999 -c 1", "0 filename= type= device=\n0 2147483647 1"},
        {"-c 2 -v -m", "0 filename= type= device=\n1 1 2"},              // no value: the default stays
        {"-V --help --version -f", "0 filename= type= device=\n0 1 3"},  // not in first place: unknown words
    };
    for (const auto& [words, options] : rows) {
        usbdevlist = enable_debug = 0;
        upg_components = 3;
        testing::internal::CaptureStdout();
        Call(parse_args, Split(words));
        std::ostringstream found;
        found << testing::internal::GetCapturedStdout() << enable_debug << " " << timem << " "
              << upg_components;
        EXPECT_EQ(found.str(), "ARGS: usbdevlist=" + options) << words;
    }
}

TEST(CommandLine, FileNamesAndPortWords) {
    ASSERT_EQ(chdir(testing::TempDir().c_str()), 0);
    const std::pair<const char*, int> files[] = {{"a.mod a.Mod a.MOD", 1},
                                                 {"a.psw a.Psw a.PSW a.pfw a.Pfw a.PFW", 0},
                                                 {".psw a.mOd a.pSw a.PfW a.psw.bak psw", -1}};
    for (const auto& [names, kind] : files)
        for (std::string& name : Split(names)) {
            std::ofstream(name) << "x";
            int isMod = -1;
            EXPECT_EQ(parse_filename(name.data(), &isMod), kind != -1) << name;
            EXPECT_EQ(isMod, kind) << name;
            std::remove(name.c_str());
            EXPECT_FALSE(parse_filename(name.data(), &isMod)) << name << " is not there";
        }
    COMMPORTTYPE kind = COMMPORT_USB;
    const std::pair<std::string, COMMPORTTYPE> words[] = {
        {"", COMMPORT_USB},  // no word leaves it alone
        {"eth", COMMPORT_ETHERNET}, {"ETH", COMMPORT_NONE}, {"ser", COMMPORT_SERIAL},
        {"serial", COMMPORT_NONE},  {"usb", COMMPORT_USB},  {"eth ", COMMPORT_NONE}};
    for (auto [word, expected] : words) {
        EXPECT_EQ(parse_type(word.data(), &kind), !word.empty() && expected != COMMPORT_NONE) << word;
        EXPECT_EQ(kind, expected) << word;
    }
}

TEST(CommandLine, Devices) {
    const std::string overlong(1000, 'n');
    const std::string cut(511, 'n');
    // + taken, - refused; name, number, flow control, -7 where it is left alone
    const struct {
        COMMPORTTYPE kind;
        std::string text, settings;
    } rows[] = {
        {COMMPORT_ETHERNET, overlong + ":9100:7", "+" + cut + " 9100 -7"},
        {COMMPORT_ETHERNET, "192.168.1.5", "- -7 -7"},
        {COMMPORT_ETHERNET, "h:x", "- -7 -7"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200:SW", "+/dev/ttyS0 115200 2"},
        {COMMPORT_SERIAL, overlong + ":7:NONE", "+" + cut + " 7 0"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200:XON", "-/dev/ttyS0 115200 -7"},  // written all the same
        {COMMPORT_SERIAL, "/dev/ttyS0:fast:HW", "- -7 -7"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200", "- -7 -7"},
        {COMMPORT_USB, overlong, "+" + cut + " -7 -7"},
        {COMMPORT_USB, "", "- -7 -7"},
    };
    for (const auto& row : rows) {
        CommPortSettings now;
        now.iEthPort = now.iBaudrate = now.iFlowControl = -7;
        const bool taken = parse_device(std::string(row.text).data(), row.kind, &now);
        const bool eth = row.kind == COMMPORT_ETHERNET;
        std::ostringstream found;
        found << (taken ? "+" : "-") << now.szEthAddress << now.szSerDevice << now.szUsbDevice << " "
              << (eth ? now.iEthPort : now.iBaudrate) << " " << now.iFlowControl;
        EXPECT_EQ(found.str(), row.settings);
        EXPECT_EQ(now.type, eth && !taken ? COMMPORT_NONE : row.kind) << row.text;
    }
}

// The process ends in each of these; the run's output is looked at on the child's standard error.
TEST(CommandLineDeathTest, RunsThatEndBeforeAPrinterIsTouched) {
    const std::string usageEnd = "       \t\t\t2: MODULES  \n       \t\t\t3: ALL [default] \n";
    const struct {
        const char* words;
        int status;
        std::string end;
    } rows[] = {{"", 0, usageEnd},
                {"--help --version", 0, usageEnd},
                {"--version -v", 0, "Release: 1.10\n"},
                {"-f none.psw", 255, "filename=none.psw type= device=\nfilename argument not valid\n"},
                {"--printerversion", 255, "filename= type= device=\ntype argument not valid\n"},
                {"--printerversion -t eth -d h", 255, "device=h\ndevice argument not valid\n"}};
    for (const auto& row : rows) {
        const auto run = [&] {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            Call(ticketflash_main, Split(row.words));
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(row.status), testing::EndsWith(row.end));
    }
}

}  // namespace
