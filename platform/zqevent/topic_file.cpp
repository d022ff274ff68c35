#include "zqevent/topic_file.h"

#include <glib.h>
#include <mosquitto.h>
#include <syslog.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <sstream>
#include <string_view>

TopicFile::TopicFile(const std::string& folder, const std::string& topicPrefix)
    : path(folder + "/event_topics"), prefix(topicPrefix) {}

std::set<std::string> TopicFile::load() {
    g_autofree char* content = nullptr;
    gsize length = 0;
    if (!g_file_get_contents(path.c_str(), &content, &length, nullptr)) {
        return {};
    }
    std::istringstream lines(std::string(content, length));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(prefix) &&
            mosquitto_pub_topic_check2(line.data(), line.size()) == MOSQ_ERR_SUCCESS &&
            mosquitto_validate_utf8(line.data(), static_cast<int>(line.size())) ==
                MOSQ_ERR_SUCCESS) {
            saved.insert(line);
        }
    }
    return saved;
}

void TopicFile::save(const std::set<std::string>& topics) {
    if (topics == saved && !failed) {
        return;
    }
    const std::string reason = write(topics);
    if (reason.empty()) {
        saved = topics;
    } else if (!failed) {
        syslog(LOG_WARNING, "Event bus: could not write %s: %s\n", path.c_str(), reason.c_str());
    }
    failed = !reason.empty();
}

std::string TopicFile::write(const std::set<std::string>& topics) const {
    if (topics.empty()) {
        const bool gone = unlink(path.c_str()) == 0 || errno == ENOENT;
        return gone ? "" : std::strerror(errno);
    }
    std::string content;
    for (const std::string& topic : topics) {
        content += topic + "\n";
    }
    // The list matters after a crash of the process, not of the machine: consistent, not durable.
    g_autoptr(GError) error = nullptr;
    g_file_set_contents_full(path.c_str(), content.data(), static_cast<gssize>(content.size()),
                             G_FILE_SET_CONTENTS_CONSISTENT, 0644, &error);
    return error ? error->message : "";
}
