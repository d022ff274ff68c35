#pragma once

class DataBoundaries;
class DefaultValues;

/// The process: the order in which everything comes up, the wait, and the order in which it goes.
///
/// States: Starting (the application's mutex held, a stop request deferred) -> Running (the main
/// thread asleep, the mutex free) -> Stopping (the mutex held again) -> Ended. Only SIGTERM leads
/// from Running to Stopping. Running without cameras, after a configuration that was refused, is a
/// valid state.
namespace Application {

/// The values of this build for a new document.
const DefaultValues& getDefaultValues();

/// The limits of this build.
const DataBoundaries& getDataBoundaries();

/// The whole life of the process, on the main thread and in the foreground. Returns the exit
/// status, 0 after a normal stop.
int run();

}  // namespace Application
