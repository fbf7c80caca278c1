#include "support/Log.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "harness/VirtualClock.h"

namespace {

const char* const kStamp = "[2024/03/07 09:05:02.041]";

// The log's state, the working directory and the time zone as they were, and the time of kStamp.
class LogTest : public testing::Test {
 protected:
    LogTest() {
        setenv("TZ", "UTC", 1);
        Log::m_dwLogType = 0;
        Log::m_bLogDataToo = false;
        std::filesystem::create_directory(directory_);
        std::filesystem::current_path(directory_);
    }
    ~LogTest() override {
        Log::SetLogEnable(0, false);
        std::filesystem::current_path(home_);
        std::filesystem::remove_all(directory_);
    }

    template <class Action>
    static std::string Printed(Action action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    static std::string FileText() {
        std::ostringstream text;
        text << std::ifstream("data.log").rdbuf();
        return text.str();
    }

    VirtualClock clock_{1709802302041};
    std::filesystem::path home_ = std::filesystem::current_path();
    std::filesystem::path directory_ =
        std::filesystem::temp_directory_path() / ("log-test-" + std::to_string(getpid()));
};

TEST_F(LogTest, WritesToTheTerminalOnlyWhenBothFlagsSaySo) {
    const struct {
        unsigned int type;
        bool dataToo;
        bool dataAfter;
        bool written;
    } steps[] = {
        {1, false, false, false}, {1, true, true, true},  {0, false, true, false},
        {1, false, false, false}, {2, true, true, false}, {3, true, true, false},
    };
    for (const auto& step : steps) {
        Log::SetLogEnable(step.type, step.dataToo);
        EXPECT_EQ(Log::m_bLogDataToo, step.dataAfter) << step.type;
        const std::string printed = Printed([] { Log::WriteLog("StartUpgrade_PSW1", "text"); });
        EXPECT_EQ(printed, step.written ? std::string(kStamp) + "[StartUpgrade_PSW1]text\n" : "")
            << step.type;
    }
    EXPECT_EQ(FileText(), std::string(kStamp) + "[StartUpgrade_PSW1]text") << "of type 2 only";
}

TEST_F(LogTest, TheFileTakesLinesAsTheyAre) {
    Log::SetLogEnable(2, true);
    EXPECT_STREQ(Log::m_strFileName, "data.log");
    Log::Write("A", std::string("no line feed"));
    Log::WriteLogP("B", "%s {0} %d\n", "one", 2);
    EXPECT_EQ(Log::m_TextFile, nullptr) << "closed between lines";
    EXPECT_EQ(FileText(), std::string(kStamp) + "[A]no line feed" + kStamp + "[B]one {0} 2\n");
    EXPECT_FALSE(Log::CloseLogFile()) << "closing what is not open has not failed";
}

TEST_F(LogTest, AFileThatCannotBeOpenedIsPassedOver) {
    std::filesystem::create_directory("data.log");
    Log::SetLogEnable(2, true);
    Log::WriteLog("A", "lost");
    EXPECT_EQ(Log::m_TextFile, nullptr);
    EXPECT_FALSE(Log::CloseLogFile());
}

TEST_F(LogTest, FormattedTextsAreCutAt1023Characters) {
    Log::SetLogEnable(1, true);
    const std::string text(5000, 'x');
    EXPECT_EQ(Printed([&] { Log::WriteLogP("Tag", "%s", text.c_str()); }),
              std::string(kStamp) + "[Tag]" + std::string(1023, 'x') + "\n");
    const std::string cut = Printed([&] { Log::WriteLog("Tag", std::string(100000, 'x').c_str()); });
    EXPECT_GT(cut.size(), 4096U);
    EXPECT_EQ(cut.back(), '\n');
}

TEST_F(LogTest, DumpsSixteenBytesARow) {
    Log::SetLogEnable(1, true);
    const std::string tabs(10, '\t');
    const std::string stamped = std::string(kStamp) + "[Tag]data\n";
    const unsigned char five[] = {0x41, 0x42, 0x25, 0x0D, 0x0A};
    const unsigned char seventeen[] = {0x00, 0x1F, 0x20, 0x7E, 0x7F, 0x80, 0xFF, '0', '1',
                                       '2',  '3',  '4',  '5',  '6',  '7',  '8',  '%'};
    EXPECT_EQ(Printed([&] { Log::WriteLogData("Tag", "data", five, 0); }), stamped);
    EXPECT_EQ(Printed([&] { Log::WriteLogData("Tag", "data", five, 5); }),
              stamped + tabs + "0000: 41 42 25 0d 0a" + std::string(36, ' ') + "AB...\n");
    EXPECT_EQ(Printed([&] { Log::WriteLogData("Tag", "data", seventeen, 17); }),
              stamped + tabs + "0000: 00 1f 20 7e 7f 80 ff 30 31 32 33 34 35 36 37 38   .. ~...012345678\n" +
                  tabs + "0010: 25" + std::string(48, ' ') + ".\n");
    Log::SetLogEnable(0, false);
    EXPECT_EQ(Printed([&] { Log::WriteLogData("Tag", "data", five, 5); }), "");
}

}  // namespace
