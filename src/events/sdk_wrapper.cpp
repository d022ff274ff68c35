#include "events/sdk_wrapper.h"

#include <glib.h>
#include <syslog.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "app/interval_timer_observable.h"
#include "app/utils.h"
#include "glib-utils/mainloop.h"
#include "zqevent/zqevent.h"
#include "zqparameter/zqparameter.h"

namespace {

constexpr const char* kOwnSpace = "tnsorva";
constexpr const char* kOnvifSpace = "tns1";
constexpr const char* kNoSpace = nullptr;

constexpr int kConnectTries = 10;
constexpr gulong kConnectPause = 100000;
constexpr long kRemovalDelay = 50000;
constexpr int kQuietFailures = 5;

/// What the wrapper knows of one declared event. Allocated with g_new0(), owned by the table.
struct EventRecord {
    std::uint32_t declarationId;
    /// The value sent last.
    std::int32_t value;
    /// SdkWrapperEventFlags_e.
    std::int32_t flags;
    std::int32_t referenceCount;
    /// Counted from 0; 0 as well for events that belong to none.
    std::int32_t videoSource;
    /// The property that carries a send's data; empty for none.
    char dataKey[128];
    /// How many sends in a row failed.
    std::int32_t failedSends;
};
static_assert(sizeof(EventRecord) == 152);

/// A declaration that is undeclared when its observer is notified, unless it has users by then.
struct PendingRemoval {
    std::string key;
    int observerId;
};

struct Wrapper {
    /// Covers everything below.
    GMutex mutex{};
    ZQEventHandler* eventHandler = nullptr;
    /// Key to EventRecord, both owned.
    GHashTable* declaredEvents = nullptr;
    ZQParameter* parameterHandler = nullptr;
    GHashTable* parameterCallbacks = nullptr;
    std::string applicationName;
    std::string applicationNiceName;
    std::string platformName;
    std::vector<PendingRemoval> pendingRemovals;
};

/// Never destroyed: the main loop's thread outlives everything.
Wrapper& wrapper = *new Wrapper;

struct Release {
    void operator()(ZQEventKeyValueSet* set) const { zq_event_key_value_set_free(set); }
    void operator()(ZQEvent* event) const { zq_event_free(event); }
    void operator()(EventRecord* record) const { g_free(record); }
};
using Set = std::unique_ptr<ZQEventKeyValueSet, Release>;
using Event = std::unique_ptr<ZQEvent, Release>;
using Record = std::unique_ptr<EventRecord, Release>;

/// Null when the platform gives none; to that nothing can be added.
Set newSet() {
    return Set(zq_event_key_value_set_new());
}

bool addText(const Set& set, const char* key, const char* space, const char* text) {
    return set != nullptr &&
           zq_event_key_value_set_add_key_value(set.get(), key, space, text, ZQ_VALUE_TYPE_STRING,
                                                nullptr) != FALSE;
}

bool addInt(const Set& set, const char* key, const std::int32_t& value) {
    return set != nullptr &&
           zq_event_key_value_set_add_key_value(set.get(), key, kNoSpace, &value, ZQ_VALUE_TYPE_INT,
                                                nullptr) != FALSE;
}

bool addBool(const Set& set, const char* key, const std::int32_t& value) {
    return set != nullptr &&
           zq_event_key_value_set_add_key_value(set.get(), key, kNoSpace, &value,
                                                ZQ_VALUE_TYPE_BOOL, nullptr) != FALSE;
}

void addNiceNames(const Set& set, const char* key, const std::string& keyName,
                  const std::string& valueName) {
    zq_event_key_value_set_add_nice_names(set.get(), key, kOwnSpace, keyName.c_str(),
                                          valueName.c_str(), nullptr);
}

void markAsData(const Set& set, const char* key) {
    zq_event_key_value_set_mark_as_data(set.get(), key, kNoSpace, nullptr);
}

void markAsSource(const Set& set, const char* key) {
    zq_event_key_value_set_mark_as_source(set.get(), key, kNoSpace, nullptr);
}

void tag(const Set& set, const char* key, const char* space, const char* text) {
    zq_event_key_value_set_mark_as_user_defined(set.get(), key, space, text, nullptr);
}

/// Whether events can be declared at all.
bool isReady() {
    return wrapper.eventHandler != nullptr && wrapper.declaredEvents != nullptr;
}

EventRecord* findRecord(const char* key) {
    return wrapper.declaredEvents == nullptr
               ? nullptr
               : static_cast<EventRecord*>(g_hash_table_lookup(wrapper.declaredEvents, key));
}

Record newRecord(int flags, const char* dataKey) {
    Record record(g_new0(EventRecord, 1));
    record->flags = flags;
    record->referenceCount = 1;
    if (dataKey != nullptr) {
        g_strlcpy(record->dataKey, dataKey, sizeof record->dataKey);
    }
    return record;
}

/// Counts one more user of a declaration that has just the wanted properties.
int addUser(EventRecord& known, const char* key, const EventRecord& wanted,
            const char* messagePrefix) {
    if (known.flags != wanted.flags || known.videoSource != wanted.videoSource ||
        g_strcmp0(known.dataKey, wanted.dataKey) != 0) {
        syslog(LOG_ERR,
               "%sCannot add event %s as it is already declared, but with other properties\n",
               messagePrefix, key);
        return 0;
    }
    ++known.referenceCount;
    return 1;
}

/// Declares the event and, if that succeeds, keeps its record.
bool declare(const char* key, Record record, const Set& set, bool stateless) {
    if (!isReady() || set == nullptr ||
        zq_event_handler_declare(wrapper.eventHandler, set.get(), stateless, &record->declarationId,
                                 nullptr, nullptr, nullptr) == FALSE) {
        return false;
    }
    g_hash_table_insert(wrapper.declaredEvents, g_strdup(key), record.release());
    return true;
}

/// The set of an event below the application's own topics.
Set buildOwnSet(const char* name, const char* niceName, const EventRecord& record) {
    Set set = newSet();
    if (set == nullptr) {
        return set;
    }
    const std::string& application = wrapper.applicationName;
    addText(set, "topic0", kOwnSpace, wrapper.platformName.c_str());
    addText(set, "topic1", kOwnSpace, application.c_str());
    addNiceNames(set, "topic1", application, wrapper.applicationNiceName);
    addText(set, "topic2", kOwnSpace, name);
    addNiceNames(set, "topic2", name, niceName);
    if ((record.flags & SdkWrapperEventApplicationData) != 0) {
        tag(set, "topic2", kOwnSpace, "isApplicationData");
    }
    if ((record.flags & SdkWrapperEventDeprecated) != 0) {
        tag(set, "topic2", kOwnSpace, "isDeprecated");
    }
    if ((record.flags & SdkWrapperEventStateful) != 0) {
        addBool(set, "active", record.value);
        markAsData(set, "active");
    }
    if (record.dataKey[0] != '\0') {
        addText(set, record.dataKey, kNoSpace, "");
        markAsData(set, record.dataKey);
    }
    return set;
}

Set buildMotionAlarmSet(const EventRecord& record) {
    Set set = newSet();
    if (set == nullptr) {
        return set;
    }
    addText(set, "topic0", kOnvifSpace, "VideoSource");
    addText(set, "topic1", kOnvifSpace, "MotionAlarm");
    addInt(set, "Source", record.videoSource);
    markAsSource(set, "Source");
    tag(set, "Source", kNoSpace, "wstype:tt:ReferenceToken");
    addBool(set, "State", record.value);
    markAsData(set, "State");
    return set;
}

Set buildMotionRegionSet(const EventRecord& record, const char* ruleName) {
    Set set = newSet();
    if (set == nullptr) {
        return set;
    }
    addText(set, "topic0", kOnvifSpace, "RuleEngine");
    addText(set, "topic1", kOnvifSpace, "MotionRegionDetector");
    addText(set, "topic2", kOnvifSpace, "Motion");
    tag(set, "topic2", kOnvifSpace, "isApplicationData");
    addBool(set, "State", record.value);
    markAsData(set, "State");
    // Is for "State" by its meaning, and "RuleName" does not even exist yet: subscribers know the
    // event without the tag, so it stays here, where it fails.
    tag(set, "RuleName", kNoSpace, "wstype:xsd:boolean");
    addInt(set, "VideoSource", record.videoSource);
    markAsSource(set, "VideoSource");
    tag(set, "VideoSource", kNoSpace, "wstype:tt:ReferenceToken");
    addText(set, "RuleName", kNoSpace, ruleName);
    markAsSource(set, "RuleName");
    tag(set, "RuleName", kNoSpace, "wstype:xsd:string");
    return set;
}

/// Undeclares the event unless it has got users again.
void carryOutRemoval(const std::string& key) {
    const EventRecord* record = findRecord(key.c_str());
    if (record == nullptr) {
        syslog(LOG_WARNING,
               "Cannot remove event declaration for event %s as it is not registered\n",
               key.c_str());
        return;
    }
    if (record->referenceCount != 0) {
        return;
    }
    zq_event_handler_undeclare(wrapper.eventHandler, record->declarationId, nullptr);
    if (g_hash_table_remove(wrapper.declaredEvents, key.c_str()) == FALSE) {
        syslog(LOG_ERR, "Could not remove event id %s from hash table\n", key.c_str());
    }
}

/// The interval timer's notification of a removal that has become due.
void handleRemovalDue(int observerId) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    auto& removals = wrapper.pendingRemovals;
    const auto found = std::find_if(
        removals.begin(), removals.end(),
        [&](const PendingRemoval& removal) { return removal.observerId == observerId; });
    if (found != removals.end()) {
        carryOutRemoval(found->key);
        removals.erase(found);
    }
    IntervalTimerObservable::unregisterObserver(observerId);
}

/// The record of an event about to be sent, or null with the reason logged. What is refused reads
/// "Cannot send " + kind + name.
EventRecord* findRecordToSend(const char* key, const char* kind, const char* name) {
    if (wrapper.eventHandler == nullptr) {
        syslog(LOG_ERR, "Cannot send %s%s. Handler is not initialized\n", kind, name);
        return nullptr;
    }
    if (wrapper.declaredEvents == nullptr) {
        syslog(LOG_ERR, "Cannot send %s%s. No events are registered\n", kind, name);
        return nullptr;
    }
    void* record = nullptr;
    if (g_hash_table_lookup_extended(wrapper.declaredEvents, key, nullptr, &record) == FALSE) {
        syslog(LOG_ERR, "Cannot send %s%s.  Event is not registered\n", kind, name);
        return nullptr;
    }
    if (record == nullptr) {
        syslog(LOG_ERR, "Cannot send %s%s. Event properties = NULL\n", kind, name);
    }
    return static_cast<EventRecord*>(record);
}

bool send(const EventRecord& record, Set set, GDateTime* time) {
    const Event event(zq_event_new2(set.get(), time));
    set.reset();
    return event != nullptr &&
           zq_event_handler_send_event(wrapper.eventHandler, record.declarationId, event.get(),
                                       nullptr) != FALSE;
}

/// The time of an ONVIF event. The caller unrefs it.
GDateTime* convertTime(const long* time) {
    return time == nullptr ? g_date_time_new_now_utc() : utils::convertMonotonicToUTC_Time(time);
}

/// The time of an event of the application's own. The caller unrefs it.
GDateTime* convertTimeOrEpoch(const long* time) {
    return time != nullptr && *time == 0 ? g_date_time_new_from_unix_utc(0) : convertTime(time);
}

/// The properties that an own event sends; false when one of them could not be added.
bool addOwnProperties(const Set& set, const EventRecord& record, const char* data) {
    if (set == nullptr ||
        ((record.flags & SdkWrapperEventStateful) != 0 && !addBool(set, "active", record.value))) {
        return false;
    }
    return data == nullptr || record.dataKey[0] == '\0' ||
           addText(set, record.dataKey, kNoSpace, data);
}

int noteFailedSend(EventRecord& record, const char* key) {
    const bool quiet =
        (record.flags & SdkWrapperEventQuiet) != 0 && record.failedSends < kQuietFailures;
    syslog(quiet ? LOG_INFO : LOG_ERR, "Could not send event %s (id %d)\n", key,
           static_cast<int>(record.declarationId));
    ++record.failedSends;
    return 0;
}

void connectToEvents() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    if (wrapper.eventHandler != nullptr) {
        syslog(LOG_WARNING, "The event handler is already initialized.\n");
    }
    for (int i = 1; i <= kConnectTries && wrapper.eventHandler == nullptr; ++i) {
        wrapper.eventHandler = zq_event_handler_new();
        if (wrapper.eventHandler == nullptr) {
            syslog(LOG_WARNING, "Could not get an event-handler, try %d of %d\n", i, kConnectTries);
            g_usleep(kConnectPause);
        }
    }
    if (wrapper.declaredEvents == nullptr) {
        wrapper.declaredEvents = g_hash_table_new_full(g_str_hash, g_str_equal, g_free, g_free);
    }
}

void connectToParameters() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    if (wrapper.parameterHandler != nullptr) {
        syslog(LOG_WARNING, "The parameter handler is already initialized.\n");
        return;
    }
    for (int i = 1; i <= kConnectTries && wrapper.parameterHandler == nullptr; ++i) {
        wrapper.parameterHandler = zq_parameter_new(wrapper.applicationName.c_str(), nullptr);
        if (wrapper.parameterHandler == nullptr) {
            syslog(LOG_WARNING, "Could not get an parameter-handler, try %d of %d\n", i,
                   kConnectTries);
            g_usleep(kConnectPause);
        }
    }
    if (wrapper.parameterCallbacks == nullptr) {
        wrapper.parameterCallbacks =
            g_hash_table_new_full(g_str_hash, g_str_equal, g_free, nullptr);
    }
}

void undeclareAll() {
    GHashTableIter iterator;
    void* record = nullptr;
    g_hash_table_iter_init(&iterator, wrapper.declaredEvents);
    while (g_hash_table_iter_next(&iterator, nullptr, &record) != FALSE) {
        zq_event_handler_undeclare(wrapper.eventHandler,
                                   static_cast<const EventRecord*>(record)->declarationId, nullptr);
    }
}

}  // namespace

void sdk_wrapper_init(const char* application_name_p, const char* nice_name_p,
                      const char* platform_name_p) {
    mainloop_start(application_name_p, nice_name_p, platform_name_p);
    {
        g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
        wrapper.applicationName = application_name_p;
        wrapper.applicationNiceName = nice_name_p;
        wrapper.platformName = platform_name_p;
    }
    connectToEvents();
    connectToParameters();
}

void sdk_wrapper_cleanup() {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    for (const PendingRemoval& removal : wrapper.pendingRemovals) {
        carryOutRemoval(removal.key);
    }
    wrapper.pendingRemovals.clear();
    wrapper.applicationName.clear();
    wrapper.applicationNiceName.clear();
    wrapper.platformName.clear();
    if (wrapper.declaredEvents != nullptr) {
        undeclareAll();
        g_hash_table_destroy(wrapper.declaredEvents);
        wrapper.declaredEvents = nullptr;
    }
    // The other way round than one would think, and meant: a connection to the event bus stays and
    // goes with the process.
    if (wrapper.eventHandler == nullptr) {
        zq_event_handler_free(wrapper.eventHandler);
    }
    if (wrapper.parameterHandler != nullptr) {
        zq_parameter_free(wrapper.parameterHandler);
        wrapper.parameterHandler = nullptr;
    }
    g_clear_pointer(&wrapper.parameterCallbacks, g_hash_table_destroy);
}

int sdk_wrapper_event_add(const char* key_p, const char* name_p, const char* nice_name_p, int flags,
                          const char* data_key_p) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    if (!isReady()) {
        syslog(LOG_ERR, "Cannot register event %s (handler not initialized)\n", nice_name_p);
        return 0;
    }
    Record record = newRecord(flags, data_key_p);
    if (EventRecord* known = findRecord(key_p)) {
        return addUser(*known, key_p, *record, "");
    }
    const Set set = buildOwnSet(name_p, nice_name_p, *record);
    if (!declare(key_p, std::move(record), set, (flags & SdkWrapperEventStateful) == 0)) {
        syslog(LOG_ERR, "Cannot declare event %s (internal error)\n", key_p);
        return 0;
    }
    return 1;
}

int sdk_wrapper_event_add(const char* key_p, const char* nice_name_p, int flags,
                          const char* data_key_p, _ZQEventKeyValueSet* set_p) {
    const Set set(set_p);
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    if (!isReady()) {
        syslog(LOG_ERR, "SDK Wrapper: Cannot register event %s (handler not initialized)\n",
               nice_name_p);
        return 0;
    }
    Record record = newRecord(flags, data_key_p);
    if (EventRecord* known = findRecord(key_p)) {
        return addUser(*known, key_p, *record, "SDK Wrapper: ");
    }
    if (!declare(key_p, std::move(record), set, (flags & SdkWrapperEventStateful) == 0)) {
        syslog(LOG_ERR, "SDK Wrapper: Cannot declare event %s (internal error)\n", key_p);
        return 0;
    }
    return 1;
}

int sdk_wrapper_event_add_onvif_motion_alarm_event(const char* key_p, int video_source, int state) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    Record record = newRecord(SdkWrapperEventQuiet, nullptr);
    record->videoSource = video_source;
    record->value = state;
    if (EventRecord* known = findRecord(key_p)) {
        return addUser(*known, key_p, *record, "");
    }
    const Set set = buildMotionAlarmSet(*record);
    if (!declare(key_p, std::move(record), set, false)) {
        syslog(LOG_ERR, "Cannot declare ONVIF Motion Alarm event %s (internal error)\n", key_p);
        return 0;
    }
    return 1;
}

int sdk_wrapper_event_add_onvif_motion_region_alarm_event(const char* key_p,
                                                          const char* rule_name_p, int video_source,
                                                          int state) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    Record record = newRecord(SdkWrapperEventStateful, nullptr);
    record->videoSource = video_source;
    record->value = state;
    if (EventRecord* known = findRecord(key_p)) {
        return addUser(*known, key_p, *record, "");
    }
    const Set set = buildMotionRegionSet(*record, rule_name_p);
    if (!declare(key_p, std::move(record), set, false)) {
        syslog(LOG_ERR, "Cannot declare ONVIF Motion Region Alarm event %s (internal error)\n",
               key_p);
        return 0;
    }
    return 1;
}

int sdk_wrapper_event_remove(const char* key_p) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    EventRecord* record = findRecord(key_p);
    if (record == nullptr) {
        syslog(LOG_ERR, "Cannot remove event declaration for event %s as it is not registered\n",
               key_p);
        return 0;
    }
    if (--record->referenceCount == 0) {
        const int observerId =
            IntervalTimerObservable::registerObserver(handleRemovalDue, kRemovalDelay);
        wrapper.pendingRemovals.push_back({key_p, observerId});
    }
    return 1;
}

int sdk_wrapper_event_send(const char* key_p, int value, const char* data_p, const long* time_p) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    EventRecord* record = findRecordToSend(key_p, "event ", key_p);
    if (record == nullptr) {
        return 0;
    }
    record->value = value;
    Set set = newSet();
    if (!addOwnProperties(set, *record, data_p)) {
        syslog(LOG_ERR, "Could not send event %s.  Internal error\n", key_p);
        ++record->failedSends;
        return 0;
    }
    g_autoptr(GDateTime) time = convertTimeOrEpoch(time_p);
    if (!send(*record, std::move(set), time)) {
        return noteFailedSend(*record, key_p);
    }
    record->failedSends = 0;
    return 1;
}

int sdk_wrapper_onvif_motion_alarm_event_send(const char* key_p, int state, const long* time_p) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    EventRecord* record = findRecordToSend(key_p, "ONVIF Motion Alarm event", "");
    if (record == nullptr) {
        return 0;
    }
    record->value = state;
    Set set = newSet();
    const bool complete =
        addInt(set, "Source", record->videoSource) && addBool(set, "State", record->value);
    g_autoptr(GDateTime) time = convertTime(time_p);
    if (!complete || !send(*record, std::move(set), time)) {
        syslog(LOG_ERR, "Could not send ONVIF Motion Alarm event %s (id %d)\n", key_p,
               static_cast<int>(record->declarationId));
        return 0;
    }
    return 1;
}

int sdk_wrapper_onvif_motion_region_alarm_event_send(const char* key_p, int state,
                                                     const char* rule_name_p, const long* time_p) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    EventRecord* record = findRecordToSend(key_p, "ONVIF Motion Region Alarm event", "");
    if (record == nullptr) {
        return 0;
    }
    record->value = state;
    const auto fail = [&](const char* messageStart) {
        syslog(LOG_ERR, "%s event %s (id %d)\n", messageStart, key_p,
               static_cast<int>(record->declarationId));
        return 0;
    };
    Set set = newSet();
    if (!addInt(set, "VideoSource", record->videoSource)) {
        return fail("Source: Could not send ONVIF Motion Region Alarm");
    }
    if (!addText(set, "RuleName", kNoSpace, rule_name_p)) {
        return fail("RuleName: Could not send ONVIF Motion Region Alarm");
    }
    if (!addBool(set, "State", record->value)) {
        return fail("State: Could not send ONVIF Motion Region Alarm");
    }
    g_autoptr(GDateTime) time = convertTime(time_p);
    if (!send(*record, std::move(set), time)) {
        // Without "Region", and meant to be.
        return fail("Could not send ONVIF Motion Alarm");
    }
    return 1;
}

char* sdk_wrapper_param_get(const char* name_p, char* buffer_p, int size) {
    g_autoptr(GMutexLocker) locker = g_mutex_locker_new(&wrapper.mutex);
    buffer_p[0] = '\0';
    if (wrapper.parameterHandler == nullptr) {
        syslog(LOG_WARNING, "Cannot get parameter %s (handler not initialized). Using: %s = %s\n",
               name_p, name_p, buffer_p);
        return buffer_p;
    }
    g_autofree char* value = nullptr;
    if (zq_parameter_get(wrapper.parameterHandler, name_p, &value, nullptr) != FALSE) {
        g_strlcpy(buffer_p, value, static_cast<gsize>(size));
    }
    return buffer_p;
}
