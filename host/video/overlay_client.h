#pragma once

#include <gio/gio.h>

#include <map>
#include <string>
#include <vector>

/// A client of the video service's own interfaces: overlays of persons, faults and streams. Each
/// call blocks, waits a few seconds for the service to be there, and throws ServiceError when it is
/// not or refuses.
class OverlayClient {
public:
    using Properties = std::map<std::string, std::string>;

    struct Overlay {
        int id;
        int camera;
        std::string type;
        std::string position;
        std::string text;  ///< empty if it has none
    };

    struct Fault {
        std::string what;
        std::string kind;
        unsigned nth;
        unsigned count;
        unsigned milliseconds;
    };

    /// Connects to the system bus. Throws ServiceError.
    OverlayClient();
    ~OverlayClient();
    OverlayClient(const OverlayClient&) = delete;
    OverlayClient& operator=(const OverlayClient&) = delete;

    /// Both give the new overlay's id. An image is the content of a PNG file.
    int addText(const std::string& text, const std::string& position, const Properties& properties);
    int addImage(const std::string& image, const std::string& position,
                 const Properties& properties);
    void move(int id, const std::string& position);
    void remove(int id);
    std::vector<Overlay> list();

    void setFault(const Fault& fault);
    void clearFaults();

    void removeStream(int id);
    void addStream(int id);

private:
    struct Service;

    GVariant* call(const Service& service, const char* method, GVariant* parameters,
                   const char* replyType, GUnixFDList* descriptors = nullptr);
    void waitFor(const char* name);

    static const Service kOverlays;
    static const Service kFaults;
    static const Service kStreams;

    GDBusConnection* bus;
};
