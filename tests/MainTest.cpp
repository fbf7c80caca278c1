// The command line: how words become options, and what is refused before a printer is touched.
#include <gmock/gmock.h>
#include <unistd.h>

#include <algorithm>
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
extern char filename[1024];
extern char device[1024];
extern char type[1024];
extern int usbdevlist;
extern int enable_debug;
extern int timem;
extern int upg_components;

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

/// Parses the words and returns what was printed.
std::string Parse(const Words& words) {
    usbdevlist = enable_debug = 0;
    upg_components = 3;
    testing::internal::CaptureStdout();
    Call(parse_args, words);
    return testing::internal::GetCapturedStdout();
}

TEST(CommandLine, OptionsAreScannedWordByWord) {
    const std::pair<const char*, const char*> rows[] = {
        // file, debug, multiplier, components
        {"-f x.psw -f y.psw", "y.psw 0 1 3"},
        {"-f -v", "-v 1 1 3"},  // the value is an option of its own, too
        {"-f -m 7", "-m 0 7 3"},
        {"-m 0 -c 2", " 0 0 2"},
        {"-m -3 -c abc", " 0 -3 3"},
        {"-m abc -c 1 -c 7", " 0 0 3"},
        {"-m 99999999999 -c 1", " 0 2147483647 1"},
        {"-v -m", " 1 1 3"},  // no value: the default stays
        {"-v -c", " 1 1 3"},
        {"-v -f", " 1 1 3"},
        {"-V --help --version -f a", "a 0 1 3"},  // not in first place: unknown words
    };
    for (const auto& [words, options] : rows) {
        Parse(Split(words));
        const int numbers[] = {enable_debug, timem, upg_components};
        std::string found = filename;
        for (const int number : numbers) found += " " + std::to_string(number);
        EXPECT_EQ(found, options) << words;
    }
}

TEST(CommandLine, EchoesWhatItTookCutToItsLength) {
    EXPECT_EQ(Parse(Split("--usbdevlist -f a.mod -t eth -d h:1")),
              "ARGS: usbdevlist=1 filename=a.mod type=eth device=h:1\n");
    const std::string longest(1023, 'x');
    EXPECT_EQ(Parse({"-f", longest + "y", "-d", longest, "-t", longest + longest}),
              "ARGS: usbdevlist=0 filename=" + longest + " type=" + longest + " device=" + longest + "\n");
    EXPECT_EQ(Parse(Split("-f b")), "ARGS: usbdevlist=0 filename=b type= device=\n");
}

TEST(CommandLine, FileNames) {
    ASSERT_EQ(chdir(testing::TempDir().c_str()), 0);
    const std::pair<const char*, int> rows[] = {{"a.mod a.Mod a.MOD", 1},
                                                {"a.psw a.Psw a.PSW a.pfw a.Pfw a.PFW", 0},
                                                {".psw a.mOd a.pSw a.PfW a.psw.bak psw", -1}};
    for (const auto& [names, kind] : rows)
        for (const std::string& name : Split(names)) {
            std::ofstream(name) << "x";
            int isMod = -1;
            EXPECT_EQ(parse_filename(std::string(name).data(), &isMod), kind != -1) << name;
            EXPECT_EQ(isMod, kind) << name;
            std::remove(name.c_str());
            EXPECT_FALSE(parse_filename(std::string(name).data(), &isMod)) << name << " is not there";
        }
}

TEST(CommandLine, PortWords) {
    COMMPORTTYPE kind = COMMPORT_USB;
    const std::pair<const char*, COMMPORTTYPE> rows[] = {
        {"", COMMPORT_USB},  // no word leaves it alone
        {"eth", COMMPORT_ETHERNET}, {"ETH", COMMPORT_NONE}, {"ser", COMMPORT_SERIAL},
        {"serial", COMMPORT_NONE},  {"usb", COMMPORT_USB},  {"eth ", COMMPORT_NONE}};
    for (const auto& [word, expected] : rows) {
        EXPECT_EQ(parse_type(std::string(word).data(), &kind), *word != '\0' && expected != COMMPORT_NONE) << word;
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
        {COMMPORT_ETHERNET, "192.168.1.5:9100", "+192.168.1.5 9100 -7"},
        {COMMPORT_ETHERNET, "h:9100:7", "+h 9100 -7"},
        {COMMPORT_ETHERNET, overlong + ":1", "+" + cut + " 1 -7"},
        {COMMPORT_ETHERNET, "192.168.1.5", "- -7 -7"},
        {COMMPORT_ETHERNET, "h:", "- -7 -7"},
        {COMMPORT_ETHERNET, "h:x", "- -7 -7"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200:SW", "+/dev/ttyS0 115200 2"},
        {COMMPORT_SERIAL, "/dev/ttyS0:9600:HW", "+/dev/ttyS0 9600 1"},
        {COMMPORT_SERIAL, overlong + ":7:NONE", "+" + cut + " 7 0"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200:XON", "-/dev/ttyS0 115200 -7"},  // written all the same
        {COMMPORT_SERIAL, "/dev/ttyS0:115200:", "-/dev/ttyS0 115200 -7"},
        {COMMPORT_SERIAL, "/dev/ttyS0:fast:HW", "- -7 -7"},
        {COMMPORT_SERIAL, "/dev/ttyS0:115200", "- -7 -7"},
        {COMMPORT_USB, "F0F0|0205|A1", "+F0F0|0205|A1 -7 -7"},
        {COMMPORT_USB, overlong, "+" + cut + " -7 -7"},
        {COMMPORT_USB, "", "- -7 -7"},
    };
    for (const auto& row : rows) {
        CommPortSettings now;
        now.iEthPort = now.iBaudrate = now.iFlowControl = -7;
        const bool taken = parse_device(std::string(row.text).data(), row.kind, &now);
        const bool eth = row.kind == COMMPORT_ETHERNET;
        EXPECT_EQ(std::string(taken ? "+" : "-") + now.szEthAddress + now.szSerDevice + now.szUsbDevice +
                      " " + std::to_string(eth ? now.iEthPort : now.iBaudrate) + " " +
                      std::to_string(now.iFlowControl),
                  row.settings);
        EXPECT_EQ(now.type, eth && !taken ? COMMPORT_NONE : row.kind) << row.text;
    }
}

// The process ends in each of these; the run's output is looked at on the child's standard error.
TEST(CommandLineDeathTest, RunsThatEndBeforeAPrinterIsTouched) {
    const std::string usageEnd = "       \t\t\t2: MODULES  \n       \t\t\t3: ALL [default] \n";
    const std::string path = testing::TempDir() + "end.psw";
    std::ofstream(path) << "x";
    const struct {
        std::string words;
        int status;
        std::string end;
    } rows[] = {{"", 0, usageEnd},
                {"--help --version", 0, usageEnd},
                {"--version -v", 0, "Release: 1.10\n"},
                {"-f none.psw", 255, "filename=none.psw type= device=\nfilename argument not valid\n"},
                {"-f " + path + " -t Eth", 255, "type=Eth device=\ntype argument not valid\n"},
                {"--printerversion", 255, "filename= type= device=\ntype argument not valid\n"},
                {"-f " + path + " -t eth -d h", 255, "device=h\ndevice argument not valid\n"},
                {"-f " + path + " -t eth -d h:1", 255, "device=h:1\nLoadPSWFromFile FAILURE\n"}};
    for (const auto& row : rows) {
        const auto run = [&] {
            dup2(STDERR_FILENO, STDOUT_FILENO);
            Call(ticketflash_main, Split(row.words));
        };
        EXPECT_EXIT(run(), testing::ExitedWithCode(row.status), testing::EndsWith(row.end));
    }
    std::remove(path.c_str());
}

}  // namespace
