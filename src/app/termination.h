#pragma once

/// SIGTERM, the one stop request.
///
/// The kernel hands a process signal to the main thread first if it may. The handler takes a mutex
/// that the main thread holds through all of start-up and tear-down, and would lock it up for ever
/// there. So the signal is blocked on the calling thread and all that it starts, and a thread that
/// holds no lock and is never joined takes it.
namespace Termination {

/// To be called before any other thread is started. Lets `handler` run on a thread of its own for
/// each SIGTERM. On failure SIGTERM keeps its default action, errno tells why, and the result is
/// false.
bool deliverTo(void (*handler)(int));

}  // namespace Termination
