#pragma once

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "support/Log.h"

using Lines = std::vector<std::string>;

/// The lines in one text, to be compared or shown.
inline std::string Joined(const Lines& lines, const char* separator = "|") {
    std::string text;
    for (const std::string& line : lines) text += (text.empty() ? "" : separator) + line;
    return text;
}

/// Holds a text against tests/conversations/`name`.txt. tools/record-conversations writes it anew; the change
/// is then read in review.
inline void ExpectRecorded(const std::string& name, const std::string& text) {
    const std::string path = CONVERSATIONS "/" + name + ".txt";
    if (std::getenv("RECORD_CONVERSATIONS") != nullptr) std::ofstream(path) << text;
    std::stringstream recorded;
    recorded << std::ifstream(path).rdbuf();
    EXPECT_EQ(recorded.str(), text) << path;
}

/// Turns the log on for as long as it lives and keeps its lines as "[tag]text", without the time stamp.
/// Whatever else is printed meanwhile is kept as it stands. One at a time; not beside
/// testing::internal::CaptureStdout.
class LogCapture {
 public:
    LogCapture() {
        Log::SetLogEnable(1, true);
        testing::internal::CaptureStdout();
    }
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;
    ~LogCapture() {
        // A failed expectation is printed to standard output as well.
        const std::string rest = testing::internal::GetCapturedStdout();
        if (testing::Test::HasFailure()) std::fputs(rest.c_str(), stdout);
        Log::SetLogEnable(0, false);
    }

    /// The lines since construction or the last Take.
    Lines Take() {
        std::istringstream all(testing::internal::GetCapturedStdout());
        testing::internal::CaptureStdout();
        Lines lines;
        for (std::string line; std::getline(all, line);) lines.push_back(WithoutStamp(line));
        return lines;
    }

    /// The lines of one tag since construction or the last Take, without the tag.
    Lines Take(const std::string& tag) {
        const std::string prefix = "[" + tag + "]";
        Lines texts;
        for (const std::string& line : Take())
            if (line.compare(0, prefix.size(), prefix) == 0) texts.push_back(line.substr(prefix.size()));
        return texts;
    }

    /// A log line without its stamp, which reads [2024/03/07 09:05:02.041]; any other line as it stands.
    static std::string WithoutStamp(const std::string& line) {
        const bool stamped = line.size() > 25 && line[0] == '[' && line[5] == '/' && line[24] == ']';
        return stamped ? line.substr(25) : line;
    }
};
