#pragma once

#include <glib.h>

#include <string>
#include <vector>

#include "events/ktw3_state_event_producer.h"
#include "events/onvif_profile_t_state_event_producer.h"
#include "events/onvif_state_event_producer.h"
#include "events/state_event_producer.h"
#include "events/state_event_producer_i.h"

/// Publishes each profile's alarm in every form that subscribers expect: the application's own
/// events with their aggregates, the previous generation's event, the ONVIF motion alarm and the
/// ONVIF motion region event, in this order.
///
/// One instance for the process, counted by getInstance() and releaseInstance(). Every operation
/// may be called from any thread and takes the instance's recursive mutex; the event wrapper's lock
/// is taken inside it.
class KTW_StateEventProducer : public StateEventProducerI {
public:
    /// The process's instance, made at the first call; each call is one reference.
    static KTW_StateEventProducer& getInstance();
    /// Gives one reference back. The last one deletes the instance.
    static void releaseInstance();

    ~KTW_StateEventProducer() override;
    KTW_StateEventProducer(const KTW_StateEventProducer&) = delete;
    KTW_StateEventProducer& operator=(const KTW_StateEventProducer&) = delete;

    StateEventProducerHandle registerEvent(int cameraId, const std::string& profileName,
                                           const std::string& eventName,
                                           const std::string& niceName) override;
    void unregisterEvent(const StateEventProducerHandle& handle) override;
    void sendStartEvent(const StateEventProducerHandle& handle, const long& time) override;
    void sendEndEvent(const StateEventProducerHandle& handle, const long& time) override;
    void sendEndEvent(const StateEventProducerHandle& handle) override;

private:
    /// The handles of one registered profile.
    struct HandleGroup {
        StateEventProducerHandle main;
        StateEventProducerHandle ktw3;
        StateEventProducerHandle onvif;
        StateEventProducerHandle onvifProfileT;
    };

    KTW_StateEventProducer();

    /// Passes an end with or without a time on.
    template <typename... Time>
    void sendEndEventToAll(const StateEventProducerHandle& handle, const Time&... time);

    const HandleGroup* findHandleGroup(const StateEventProducerHandle& handle) const;
    void deleteHandleGroup(const StateEventProducerHandle& handle);

    static KTW_StateEventProducer* s_instance;
    static int s_referenceCount;
    /// Held only while the reference count changes.
    static GMutex s_mutex;

    StateEventProducer stateEvents;
    KTW3_StateEventProducer ktw3Events;
    ONVIF_StateEventProducer onvifEvents;
    ONVIF_ProfileT_StateEventProducer onvifProfileT;
    std::vector<HandleGroup> handleGroups;
    GRecMutex mutex;
};
