#include "support/syslog_capture.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <ostream>

namespace {

std::mutex mutex;
bool capturing = false;
std::vector<SyslogCapture::Line> captured;

void capture(int level, const char* format, va_list arguments) {
    char text[65536];
    std::vsnprintf(text, sizeof text, format, arguments);
    const std::lock_guard lock(mutex);
    if (capturing) {
        captured.push_back({level, text});
    }
}

}  // namespace

extern "C" {
// These stand before the C library's own, so a test program never talks to the machine's log.
void syslog(int level, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    capture(level, format, arguments);
    va_end(arguments);
}

// What syslog() becomes when the program is compiled with fortified library calls.
void __syslog_chk(int level, int, const char* format, ...) {
    va_list arguments;
    va_start(arguments, format);
    capture(level, format, arguments);
    va_end(arguments);
}
}

SyslogCapture::SyslogCapture() {
    const std::lock_guard lock(mutex);
    capturing = true;
    captured.clear();
}

SyslogCapture::~SyslogCapture() {
    const std::lock_guard lock(mutex);
    capturing = false;
    captured.clear();
}

std::vector<SyslogCapture::Line> SyslogCapture::lines() const {
    const std::lock_guard lock(mutex);
    return captured;
}

std::vector<std::string> SyslogCapture::texts() const {
    std::vector<std::string> result;
    for (const Line& line : lines()) {
        result.push_back(line.text);
    }
    return result;
}

bool SyslogCapture::has(int level, const std::string& text) const {
    const std::vector<Line> all = lines();
    return std::find(all.begin(), all.end(), Line{level, text}) != all.end();
}

void SyslogCapture::clear() {
    const std::lock_guard lock(mutex);
    captured.clear();
}

std::ostream& operator<<(std::ostream& out, const SyslogCapture::Line& line) {
    return out << line.level << ' ' << line.text;
}
