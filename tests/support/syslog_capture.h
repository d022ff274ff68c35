#pragma once

#include <syslog.h>

#include <cstdarg>
#include <string>
#include <utility>
#include <vector>

/// Collects what is sent to syslog(3) while it lives, from all threads. One at a time.
class SyslogCapture {
public:
    struct Line {
        int level;
        std::string text;
        friend bool operator==(const Line&, const Line&) = default;
        friend std::ostream& operator<<(std::ostream&, const Line&);
    };

    SyslogCapture();
    ~SyslogCapture();
    SyslogCapture(const SyslogCapture&) = delete;
    SyslogCapture& operator=(const SyslogCapture&) = delete;

    /// All lines so far, in order, as sent (with their line ends).
    std::vector<Line> lines() const;
    /// The texts alone.
    std::vector<std::string> texts() const;
    /// Whether a line with just this level and text was sent.
    bool has(int level, const std::string& text) const;
    void clear();
};
