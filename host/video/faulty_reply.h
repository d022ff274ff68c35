#pragma once

#include <gio/gio.h>

#include "video/fault_plan.h"

/// Replies to a call that are not what is declared.
namespace FaultyReply {

/// The reply for each kind of fault that is a reply (the caller unrefs it).
GDBusMessage* make(GDBusMessage* call, Fault::Kind kind);

}  // namespace FaultyReply
