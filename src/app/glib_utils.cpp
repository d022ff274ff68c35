#include "app/glib_utils.h"

#include <stdexcept>

void GlibUtils::throwIfNotOk(const GError* error, const std::string& context) {
    if (error == nullptr) {
        return;
    }
    std::string text = context + ": ";
    if (error->message != nullptr) {
        text += error->message;
        text += '\n';
    }
    throw std::runtime_error(text);
}

void GlibUtils::throwIfNull(const void* pointer, const std::string& context) {
    if (pointer == nullptr) {
        throw std::runtime_error(context + ": Pointer was unexpectedly NULL");
    }
}
