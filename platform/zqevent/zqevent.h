#pragma once

#include <glib.h>

/// The device's event bus: declaring, sending and subscribing to events.
///
/// An event is described by a set of keys. A key is a name in a namespace (null or empty for none)
/// with a typed value. "topic0", "topic1" and "topic2" are the levels of the event's topic; every
/// other key is a property, marked as source (it tells which of several like things the event is
/// about) or as data (what happened to it).
///
/// Threads: every function may be called from any thread, but one set or one event must not be used
/// by two threads at a time. Nothing here blocks: no call waits for the bus, whatever state it is
/// in. Callbacks come on the default main context, one at a time, in the order of arrival, and with
/// no lock of the library held, so they may call anything here.
///
/// Errors: a function that can fail returns FALSE and sets `error` if it is not null. Texts are
/// copied; keys and namespaces are valid UTF-8. A null or stale handle is a mistake of the caller
/// unless a function says otherwise.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// A connection to the bus. Owned by who made it.
typedef struct _ZQEventHandler ZQEventHandler;
/// An ordered set of keys with values. Owned by who made it, or borrowed from its event.
typedef struct _ZQEventKeyValueSet ZQEventKeyValueSet;
/// The values of one occurrence with its time. Owned by who made or was given it.
typedef struct _ZQEvent ZQEvent;

/// The type of a value, and what `value` points at when it is added.
typedef enum {
    ZQ_VALUE_TYPE_INT = 0,    ///< a gint
    ZQ_VALUE_TYPE_BOOL = 1,   ///< a gboolean (any non-zero value is true)
    ZQ_VALUE_TYPE_STRING = 3  ///< the characters themselves, null-terminated
} ZQValueType;

#define ZQ_EVENT_ERROR (zq_event_error_quark())
GQuark zq_event_error_quark(void);

typedef enum {
    ZQ_EVENT_ERROR_INVALID,       ///< an argument, or what a set holds, is not acceptable
    ZQ_EVENT_ERROR_NOT_FOUND,     ///< no such key, declaration or subscription
    ZQ_EVENT_ERROR_TYPE,          ///< the key has a value of another type, or none
    ZQ_EVENT_ERROR_DISCONNECTED,  ///< the bus is away and the event has no state to keep
    ZQ_EVENT_ERROR_FULL           ///< too many events wait to be sent
} ZQEventError;

/// Called once, after a declaration was accepted.
typedef void (*ZQDeclarationCallback)(guint declaration, void* userData);
/// Called for each event of a subscription. `event` is transferred: free it with zq_event_free().
typedef void (*ZQSubscriptionCallback)(guint subscription, ZQEvent* event, void* userData);

/// Makes a connection. Comes at once, whether or not the bus is there; null if the device has no
/// bus at all. Several handlers may exist side by side.
ZQEventHandler* zq_event_handler_new(void);
/// Undeclares and unsubscribes what the handler still has, and frees it. Null is allowed. A process
/// may also end without it: what was sent by then still goes out.
void zq_event_handler_free(ZQEventHandler* handler);

ZQEventKeyValueSet* zq_event_key_value_set_new(void);
/// Null is allowed.
void zq_event_key_value_set_free(ZQEventKeyValueSet* set);

/// Appends a key with a copy of its value, or, if the key is there already, replaces its value and
/// type and keeps its place, nice names, tags and marks. A null `value` means "no value": any value
/// in a subscription, not known yet in a declaration; an event that is sent needs values.
/// Fails on a null or empty key and on an unknown type.
gboolean zq_event_key_value_set_add_key_value(ZQEventKeyValueSet* set, const char* key,
                                              const char* nameSpace, const void* value,
                                              ZQValueType type, GError** error);
/// Gives a key and its value names for people; a null name is left as it was. Fails on an unknown
/// key.
gboolean zq_event_key_value_set_add_nice_names(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, const char* keyNiceName,
                                               const char* valueNiceName, GError** error);
/// Marks a property as data. Fails on an unknown key.
gboolean zq_event_key_value_set_mark_as_data(ZQEventKeyValueSet* set, const char* key,
                                             const char* nameSpace, GError** error);
/// Marks a property as source. Fails on an unknown key.
gboolean zq_event_key_value_set_mark_as_source(ZQEventKeyValueSet* set, const char* key,
                                               const char* nameSpace, GError** error);
/// Attaches a tag; a key can have several, in order. Fails on an unknown key.
gboolean zq_event_key_value_set_mark_as_user_defined(ZQEventKeyValueSet* set, const char* key,
                                                     const char* nameSpace, const char* tag,
                                                     GError** error);

/// Read a value of just that type. Fail, leaving `value` as it is, if the key is unknown or has a
/// value of another type or none. get_string() transfers a copy, to be released with g_free().
gboolean zq_event_key_value_set_get_boolean(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gboolean* value, GError** error);
gboolean zq_event_key_value_set_get_integer(const ZQEventKeyValueSet* set, const char* key,
                                            const char* nameSpace, gint* value, GError** error);
gboolean zq_event_key_value_set_get_string(const ZQEventKeyValueSet* set, const char* key,
                                           const char* nameSpace, char** value, GError** error);

/// Declares an event with the topic and properties of `set` (borrowed, copied). A stateful event
/// (`stateless` FALSE) has the values of `set` as its state from now on, known to every subscriber
/// who comes later. `*declaration` gets an id above 0, unique in the process. `callback` may be
/// null. Succeeds also while the bus is away. Fails if "topic0" or a source property has no value.
gboolean zq_event_handler_declare(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                  gboolean stateless, guint* declaration,
                                  ZQDeclarationCallback callback, void* userData, GError** error);
/// Takes a declaration back; the state of a stateful event disappears from the bus. Fails if this
/// handler has no such declaration.
gboolean zq_event_handler_undeclare(ZQEventHandler* handler, guint declaration, GError** error);

/// An event with a copy of the values of `set` and the time `timeStamp` (both borrowed); the time
/// is now if it is null.
ZQEvent* zq_event_new2(const ZQEventKeyValueSet* set, GDateTime* timeStamp);
/// Null is allowed.
void zq_event_free(ZQEvent* event);
/// The values; borrowed, valid as long as the event.
const ZQEventKeyValueSet* zq_event_get_key_value_set(const ZQEvent* event);
/// The time, in UTC; borrowed, valid as long as the event.
GDateTime* zq_event_get_time_stamp(const ZQEvent* event);

/// Sends an occurrence of a declared event (`event` is borrowed). A property missing in it has the
/// value of the event before, if the event is stateful, else that of the declaration. Source
/// properties stand as declared. Fails on an unknown declaration of this handler, on a key that was
/// not declared and on a value of another type than declared.
///
/// A stateful event is accepted as soon as its state is kept: it reaches the bus when the bus is
/// there, and again whenever the bus has been away. A stateless event is refused while the bus is
/// away and when 1,000 events wait.
gboolean zq_event_handler_send_event(ZQEventHandler* handler, guint declaration,
                                     const ZQEvent* event, GError** error);

/// Subscribes to the topic given by "topic0", "topic1" and "topic2" of `set` (as far as they are
/// there; borrowed, copied) and to all topics below it. A level without a value stands for any. Any
/// other key in the set is refused. `*subscription` gets an id above 0, unique in the process.
///
/// Events carry the values they have on the bus, without namespaces; properties of other types than
/// the three are left out. The state of matching events is delivered first, and after an outage
/// only if it changed.
gboolean zq_event_handler_subscribe(ZQEventHandler* handler, const ZQEventKeyValueSet* set,
                                    guint* subscription, ZQSubscriptionCallback callback,
                                    void* userData, GError** error);
/// Ends a subscription without waiting: from the thread of the default main context no callback
/// comes after it; from another thread one that has begun may still be running. Fails if this
/// handler has no such subscription.
gboolean zq_event_handler_unsubscribe(ZQEventHandler* handler, guint subscription, GError** error);

#pragma GCC visibility pop
G_END_DECLS
