#include "core/Logger.h"

#include <cstdio>
#include <iostream>

#include "core/Clock.h"

namespace zel {
namespace {

const char* levelTag(int level) {
    switch (level) {
        case kDebug: return "DEBUG   ";
        case kInfo: return "INFO    ";
        case kWarning: return "WARNING ";
        case kError: return "ERROR   ";
        default: return "        ";
    }
}

// Both sinks are text streams that turn "\n" into "\r\n" themselves;
// a message carrying a child's "\r\n" output would otherwise end "\r\r\n".
std::string withBareLineFeeds(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) out.push_back(text[i]);
    return out;
}

}  // namespace

Logger& Logger::instance() {
    static Logger logger;
    return logger;
}

void Logger::setLevels(int /*upper*/, int threshold) {
    upper_ = kUpperBound;
    threshold_ = threshold;
}

void Logger::setDirectory(const std::string& dir) {
    directory_ = dir;
    if (directory_.empty() || directory_.back() != '\\') directory_ += '\\';
}

void Logger::open(const std::string& path) {
    std::lock_guard<std::mutex> guard(lineLock_);
    if (file_.is_open()) file_.close();
    if (path.empty()) return;
    file_.clear();
    file_.open(path, std::ios::out | std::ios::app);
}

void Logger::log(int level, const std::string& message, ConsoleStream console) {
    if (!enabled(level)) return;
    const std::string line =
        formatText("%s %s %s", timeStampText(nowMilliseconds()).c_str(), levelTag(level), withBareLineFeeds(message).c_str());
    std::lock_guard<std::mutex> guard(lineLock_);
    if (consoleEcho_) (console == ConsoleStream::Error ? std::cerr : std::cout) << line << std::endl;
    if (file_.is_open()) file_ << line << std::endl;
}

void Logger::sendLine(const std::string& message) {
    if (fileEnabled()) {
        debug(message);
        return;
    }
    std::lock_guard<std::mutex> guard(lineLock_);
    std::cout << message << std::endl;
}

#define ZEL_LOG_AT(level)                                          \
    if (!Logger::instance().enabled(level)) return;                \
    va_list args;                                                  \
    va_start(args, format);                                        \
    std::string text = formatTextV(format, args);                  \
    va_end(args);                                                  \
    Logger::instance().log(level, text)

void logDebug(const char* format, ...) { ZEL_LOG_AT(kDebug); }
void logInfo(const char* format, ...) { ZEL_LOG_AT(kInfo); }
void logWarning(const char* format, ...) { ZEL_LOG_AT(kWarning); }
void logError(const char* format, ...) { ZEL_LOG_AT(kError); }
#undef ZEL_LOG_AT

void logSendLine(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::string text = formatTextV(format, args);
    va_end(args);
    Logger::instance().sendLine(text);
}

void printProgress(int percent, const char* label, unsigned long long position) {
    std::printf("\r[%d%%] %s %llu...", percent > 100 ? 100 : percent, label, position);
    std::fflush(stdout);
}

void printStatus(const char* format, ...) {
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
    std::fflush(stdout);
}

}  // namespace zel
