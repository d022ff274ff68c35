#pragma once

#include <string>

struct _GOutputStream;

/// The answer's way to the web server.
class CGI_Responder {
public:
    /// Writes the head of a good answer of JSON, then the text as its body. What the client no
    /// longer takes is lost. The stream (borrowed) is closed.
    static void sendResponse(const std::string& text, _GOutputStream& stream);
};
