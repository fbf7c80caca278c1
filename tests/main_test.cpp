// The command line: how words become options, and what is refused before a printer is touched.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <string>
#include <vector>

#include "port/CommPortSettings.h"

void parse_args(int argc, char** argv);
bool parse_filename(const char* name, int* isMod);
bool parse_type(const char* text, COMMPORTTYPE* type);
bool parse_device(const char* text, COMMPORTTYPE type, CommPortSettings* settings);
extern char filename[1024];
extern char device[1024];
extern char type[1024];
extern int usbdevlist;
extern int printerversion;
extern int enable_debug;
extern int timem;
extern int upg_components;

namespace {

/// Parses the words behind the program's name and returns what was printed.
std::string Parse(std::vector<std::string> words) {
    usbdevlist = printerversion = enable_debug = 0;
    upg_components = 3;
    words.insert(words.begin(), "ticketflash");
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(word.data());
    testing::internal::CaptureStdout();
    parse_args(static_cast<int>(argv.size()), argv.data());
    return testing::internal::GetCapturedStdout();
}

TEST(CommandLine, OptionsAreScannedWordByWord) {
    struct Case {
        std::vector<std::string> words;
        const char* file;
        int debug, multiplier, components;
    };
    const Case cases[] = {
        {{"-f", "x.psw", "-f", "y.psw"}, "y.psw", 0, 1, 3},
        {{"-f", "-v"}, "-v", 1, 1, 3},  // the value is an option of its own, too
        {{"-f", "-m", "7"}, "-m", 0, 7, 3},
        {{"-m", "0", "-c", "2"}, "", 0, 0, 2},
        {{"-m", "abc", "-c", "7"}, "", 0, 0, 3},
        {{"-m", "-3", "-c", "abc"}, "", 0, -3, 3},
        {{"-m", "99999999999", "-c", "1"}, "", 0, 2147483647, 1},
        {{"-v", "-m"}, "", 1, 1, 3},  // no value: the default stays
        {{"-v", "-c"}, "", 1, 1, 3},
        {{"-v", "-f"}, "", 1, 1, 3},
        {{"-V", "--help", "--version", "-f", "a"}, "a", 0, 1, 3},  // not in first place: unknown words
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.words));
        Parse(c.words);
        EXPECT_STREQ(filename, c.file);
        EXPECT_EQ(enable_debug, c.debug);
        EXPECT_EQ(timem, c.multiplier);
        EXPECT_EQ(upg_components, c.components);
    }
}

TEST(CommandLine, EchoesWhatItTook) {
    EXPECT_EQ(Parse({"--usbdevlist", "-f", "a.mod", "-t", "eth", "-d", "h:1", "--printerversion"}),
              "ARGS: usbdevlist=1 filename=a.mod type=eth device=h:1\n");
    EXPECT_EQ(printerversion, 1);
    EXPECT_EQ(Parse({"-f", "b"}),
              "ARGS: usbdevlist=0 filename=b type= device=\n");  // nothing left from before
}

TEST(CommandLine, ValuesOfAnyLengthAreCut) {
    Parse({"-f", std::string(5000, 'f'), "-d", std::string(1023, 'd'), "-t", std::string(1024, 't')});
    EXPECT_EQ(filename, std::string(1023, 'f'));
    EXPECT_EQ(device, std::string(1023, 'd'));
    EXPECT_EQ(type, std::string(1023, 't'));
}

TEST(CommandLine, FileNames) {
    const std::string folder = testing::TempDir();
    const auto accepted = [&](const std::string& name, bool create = true) {
        const std::string path = folder + name;
        if (create) std::ofstream(path) << "x";
        int isMod = -1;
        const bool ok = parse_filename(path.c_str(), &isMod);
        std::remove(path.c_str());
        return ok ? isMod : -1;
    };
    for (const char* ending : {".mod", ".Mod", ".MOD"}) EXPECT_EQ(accepted(std::string("a") + ending), 1);
    for (const char* ending : {".psw", ".Psw", ".PSW", ".pfw", ".Pfw", ".PFW"})
        EXPECT_EQ(accepted(std::string("a") + ending), 0);
    for (const char* name : {"a.mOd", "a.pSw", "a.PfW", "a.psw ", "a.psw.bak", "psw"})
        EXPECT_EQ(accepted(name), -1);
    EXPECT_EQ(accepted("missing.psw", false), -1);
    int isMod = -1;
    EXPECT_FALSE(parse_filename("", &isMod));
}

TEST(CommandLine, PortWords) {
    COMMPORTTYPE kind = COMMPORT_USB;
    EXPECT_FALSE(parse_type("", &kind));
    EXPECT_EQ(kind, COMMPORT_USB);
    EXPECT_TRUE(parse_type("eth", &kind));
    EXPECT_EQ(kind, COMMPORT_ETHERNET);
    EXPECT_TRUE(parse_type("ser", &kind));
    EXPECT_EQ(kind, COMMPORT_SERIAL);
    EXPECT_TRUE(parse_type("usb", &kind));
    EXPECT_EQ(kind, COMMPORT_USB);
    for (const char* word : {"ETH", "Usb", "serial", "eth "}) {
        EXPECT_FALSE(parse_type(word, &kind)) << word;
        EXPECT_EQ(kind, COMMPORT_NONE);
    }
}

TEST(CommandLine, EthernetDevices) {
    struct Case {
        const char* text;
        bool valid;
        const char* address;
        int port;
    };
    const Case cases[] = {{"192.168.1.5:9100", true, "192.168.1.5", 9100},
                          {"host:9100x", true, "host", 9100},
                          {":1", true, "", 1},
                          {"h:9100:7", true, "h", 9100},
                          {"192.168.1.5", false, "", -7},
                          {"h:", false, "", -7},
                          {"h:x", false, "", -7},
                          {"", false, "", -7}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        CommPortSettings settings;
        settings.iEthPort = -7;
        EXPECT_EQ(parse_device(c.text, COMMPORT_ETHERNET, &settings), c.valid);
        EXPECT_STREQ(settings.szEthAddress, c.address);
        EXPECT_EQ(settings.iEthPort, c.port);
        EXPECT_EQ(settings.type, c.valid ? COMMPORT_ETHERNET : COMMPORT_NONE);
    }
}

TEST(CommandLine, SerialDevices) {
    struct Case {
        const char* text;
        bool valid;
        const char* path;
        int baudrate, flow;
    };
    const Case cases[] = {{"/dev/ttyS0:115200:SW", true, "/dev/ttyS0", 115200, 2},
                          {"/dev/ttyS0:9600:HW", true, "/dev/ttyS0", 9600, 1},
                          {"/dev/ttyS0:7:NONE", true, "/dev/ttyS0", 7, 0},
                          {"/dev/ttyS0:115200:XON", false, "/dev/ttyS0", 115200, -7},  // written all the same
                          {"/dev/ttyS0:115200:hw", false, "/dev/ttyS0", 115200, -7},
                          {"/dev/ttyS0:115200:", false, "/dev/ttyS0", 115200, -7},
                          {"/dev/ttyS0:fast:HW", false, "", -7, -7},
                          {"/dev/ttyS0:115200", false, "", -7, -7},
                          {"/dev/ttyS0", false, "", -7, -7},
                          {"", false, "", -7, -7}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.text);
        CommPortSettings settings;
        settings.iBaudrate = settings.iFlowControl = -7;
        EXPECT_EQ(parse_device(c.text, COMMPORT_SERIAL, &settings), c.valid);
        EXPECT_EQ(settings.type, COMMPORT_SERIAL);
        EXPECT_STREQ(settings.szSerDevice, c.path);
        EXPECT_EQ(settings.iBaudrate, c.baudrate);
        EXPECT_EQ(settings.iFlowControl, c.flow);
    }
}

TEST(CommandLine, UsbNamesAndOverlongDevices) {
    CommPortSettings settings;
    EXPECT_TRUE(parse_device("F0F0|0205|A1", COMMPORT_USB, &settings));
    EXPECT_STREQ(settings.szUsbDevice, "F0F0|0205|A1");
    CommPortSettings empty;
    EXPECT_FALSE(parse_device("", COMMPORT_USB, &empty));
    EXPECT_EQ(empty.type, COMMPORT_USB);
    EXPECT_FALSE(parse_device("x", COMMPORT_NONE, &empty));

    const std::string longName(1000, 'n');
    EXPECT_TRUE(parse_device(longName.c_str(), COMMPORT_USB, &settings));
    EXPECT_EQ(settings.szUsbDevice, std::string(511, 'n'));
    EXPECT_TRUE(parse_device((longName + ":1").c_str(), COMMPORT_ETHERNET, &settings));
    EXPECT_EQ(settings.szEthAddress, std::string(511, 'n'));
    EXPECT_TRUE(parse_device((longName + ":1:HW").c_str(), COMMPORT_SERIAL, &settings));
    EXPECT_EQ(settings.szSerDevice, std::string(511, 'n'));
}

}  // namespace
