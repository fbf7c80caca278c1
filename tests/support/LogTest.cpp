#include "support/Log.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "harness/VirtualClock.h"

namespace {

const std::string kStamp = "[2024/03/07 09:05:02.041]";

// A log that is off, at the time of kStamp.
class LogTest : public testing::Test {
 protected:
    LogTest() { setenv("TZ", "UTC", 1); }
    ~LogTest() override {
        Log::m_dwLogType = 0;
        Log::m_bLogDataToo = false;
    }

    template <class Action>
    static std::string Printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    VirtualClock clock_{1709802302041};
};

TEST_F(LogTest, BothFlagsDecideWhereALineGoes) {
    const std::tuple<unsigned int, bool, bool, bool> steps[] = {
        // type, data too; what it is then, and whether the line is printed
        {1, false, false, false}, {1, true, true, true},  {0, false, true, false},
        {1, false, false, false}, {2, true, true, false}, {3, true, true, false}};
    for (const auto& [type, dataToo, dataAfter, written] : steps) {
        Log::SetLogEnable(type, dataToo);
        EXPECT_EQ(Log::m_bLogDataToo, dataAfter) << type;
        EXPECT_EQ(Printed([] { Log::WriteLogP("StartUpgrade_PSW1", "%s {0} %d", "text", 2); }),
                  written ? kStamp + "[StartUpgrade_PSW1]text {0} 2\n" : "")
            << type;
    }
    std::ifstream file("data.log");
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), kStamp + "[StartUpgrade_PSW1]text {0} 2")
        << "of type 2 only";
    std::filesystem::remove("data.log");
}

TEST_F(LogTest, BlanksWhatSteersATerminalCutsLongTextsAndDumpsSixteenBytesARow) {
    const std::string tabs(10, '\t');
    const auto dump = [](const std::string& data) {
        return Printed([&] {
            Log::WriteLogData("Tag", "data", reinterpret_cast<const unsigned char*>(data.data()),
                              static_cast<unsigned int>(data.size()));
        });
    };
    Log::SetLogEnable(1, true);
    EXPECT_EQ(dump({"\0\x1F ~\x7F\x80\xFF"
                    "0123456789",
                    17}),
              kStamp + "[Tag]data\n" + tabs +
                  "0000: 00 1f 20 7e 7f 80 ff 30 31 32 33 34 35 36 37 38   .. ~...012345678\n" + tabs +
                  "0010: 39" + std::string(48, ' ') + "9\n");
    const std::string text(100000, 'x');
    const std::string sent = "\x01\x1B[2J\n[forged]\x7F\x80\x9F\xA0\xE9\r\n";
    const std::string line = kStamp + "[A]  [2J [forged]   \xA0\xE9  \n";
    EXPECT_EQ(Printed([&] { Log::WriteLogP("A", "%s", sent.c_str()); }), line);
    EXPECT_EQ(Printed([&] { Log::WriteLogP("Tag", "%s", text.c_str()); }),
              kStamp + "[Tag]" + std::string(1023, 'x') + "\n");
    EXPECT_GT(Printed([&] { Log::Write("Tag", text); }).size(), 4096U);
}

}  // namespace
