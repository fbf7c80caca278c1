#pragma once

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <string>

/// The program's one diagnostic channel: stamped lines on standard output or appended to "data.log".
/// Process-wide state, for one thread. Nothing here reports a failure: a line that cannot be written is lost.
/// Texts longer than the buffers (1023 characters of a formatted text, some kilobytes of a line) are cut.
class Log {
 public:
    /// `type`: 0 nowhere, 1 terminal, 2 file; other values write nothing. A `type` of 0 leaves the
    /// second flag, `dataToo`, as it was; without that flag nothing is written. Names the log file
    /// "data.log" in every case.
    static void SetLogEnable(unsigned int type, bool dataToo);

    /// Writes "[date time][tag]text", with blanks for control characters but a line feed at the end. The
    /// terminal's line ends with one more; the file's ends only where the text does (kept: the two outputs
    /// differ on purpose).
    static void WriteLog(const char* tag, const char* text);

    /// The same with the text made by printf rules; only a line feed of the format's own ends it. Braces mean
    /// nothing: "{0}" is logged as it stands.
    static void WriteLogP(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));
    static void WriteLogV(const char* tag, const char* format, std::va_list arguments)
        __attribute__((format(printf, 2, 0)));

    static void Write(const char* tag, const std::string& text);

    /// WriteLog and WriteLogP for an operation that ends with the line: always false.
    static bool Fail(const char* tag, const char* text);
    static bool FailP(const char* tag, const char* format, ...) __attribute__((format(printf, 2, 3)));

    /// A stamped line followed by a hex dump of `length` bytes, 16 a row.
    static void WriteLogData(const char* tag, const char* text, const unsigned char* data,
                             unsigned int length);

    /// Opens the log file for appending, anew when it is open. One that cannot be opened is not reported.
    static void OpenLogFile();

    /// Closes the log file if it is open. True when closing failed.
    static bool CloseLogFile();

    /// Prints the line and a line feed on standard output.
    static void WriteToVideo(const char* line);

    /// Appends the characters of the line, without a line feed, opening and closing the file around it.
    static void WriteToFile(const char* line);

    static std::uint32_t m_dwLogType;
    static bool m_bLogDataToo;
    static std::FILE* m_TextFile;
    static char m_strFileName[200];
};
