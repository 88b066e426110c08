#pragma once

#include <fstream>
#include <mutex>
#include <string>

#include "core/TextFormat.h"
#include "core/Uncopyable.h"

namespace zel {

enum LogLevel : int { kDebug = 10, kInfo = 20, kWarning = 30, kError = 40, kUpperBound = 50 };

// Where a line's console copy goes. Standard error keeps a line about the
// run itself out of the bare results scripts read from standard output.
enum class ConsoleStream { Output, Error };

// The process-wide logger: "time stamp, eight-character tag, message" lines,
// echoed to the console and appended to the log file, flushed per line.
class Logger : private Uncopyable {
public:
    static Logger& instance();

    void setLevels(int upper, int threshold);
    int threshold() const { return threshold_; }
    bool enabled(int level) const { return upper_ >= level && threshold_ <= level; }

    void setConsoleEcho(bool on) { consoleEcho_ = on; }
    void setDirectory(const std::string& dir);
    const std::string& directory() const { return directory_; }

    // Appends to the file at path; an empty path closes the file.
    void open(const std::string& path);
    bool fileEnabled() const { return file_.is_open(); }

    void log(int level, const std::string& message, ConsoleStream console = ConsoleStream::Output);
    void debug(const std::string& message) { log(kDebug, message); }
    void info(const std::string& message) { log(kInfo, message); }
    void warning(const std::string& message) { log(kWarning, message); }
    void error(const std::string& message) { log(kError, message); }

    // Command send lines: logged at DEBUG when a log file is open, else
    // printed bare on the console.
    void sendLine(const std::string& message);

private:
    Logger() = default;

    std::ofstream file_;
    bool consoleEcho_ = false;
    int upper_ = kUpperBound;
    int threshold_ = kInfo;
    std::string directory_;
    std::mutex lineLock_;
};

// printf-style shorthands; the text is only built when the level is enabled.
void logDebug(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);
void logInfo(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);
void logWarning(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);
void logError(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);
void logSendLine(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);

// "\r[%d%%] %s %llu..." on standard output, outside the logger; the
// percentage is capped at 100.
void printProgress(int percent, const char* label, unsigned long long position);

// Other console-only status text ("\rParsing line # 12"), likewise never in
// the log file.
void printStatus(const char* format, ...) ZEL_PRINTF_FORMAT(1, 2);

}  // namespace zel
