#pragma once

#include <functional>
#include <string>

class OverlayStore;

/// A request that came through a command channel. A plain value.
struct OverlayCommand {
    std::string method;   ///< "getBuffer" or "submitBuffer"
    std::string context;  ///< whatever the client wants to have back
    int overlayId;
    int buffer;  ///< for submitBuffer

    /// Reads a JSON text. Throws std::invalid_argument that says what is wrong.
    static OverlayCommand parse(const std::string& text);
};

/// Carries out the requests of a command channel. The thread that changes the store.
class OverlayCommands {
public:
    /// Whether the client of the channel may use the overlay of an owner.
    using OwnerTest = std::function<bool(const std::string& owner)>;

    /// Longest reply, with its terminating zero byte: clients take no more.
    static constexpr int kMostReplyBytes = 512;

    /// The store is borrowed.
    OverlayCommands(OverlayStore& store, OwnerTest mayUse);

    /// The reply, a JSON text. What cannot be done gets one with "error".
    std::string execute(const OverlayCommand& command) const;

    /// The reply to what is no command.
    static std::string refuse(const std::string& reason);

private:
    OverlayStore& store;  // borrowed
    const OwnerTest mayUse;
};
