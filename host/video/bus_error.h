#pragma once

#include <stdexcept>
#include <string>

/// An answer to a caller on the bus who gets something other than what he asked for.
class BusError : public std::runtime_error {
public:
    enum class Reason { BadInput, NotFound, NotOwner, TooMany, Failed };

    BusError(Reason theReason, const std::string& message)
        : std::runtime_error(message), reason(theReason) {}

    const char* name() const {
        switch (reason) {
            case Reason::BadInput:
                return "com.orva.Host.Error.BadInput";
            case Reason::NotFound:
                return "com.orva.Host.Error.NotFound";
            case Reason::NotOwner:
                return "com.orva.Host.Error.NotOwner";
            case Reason::TooMany:
                return "com.orva.Host.Error.TooMany";
            case Reason::Failed:
                break;
        }
        return "com.orva.Host.Error.Failed";
    }

private:
    const Reason reason;
};
