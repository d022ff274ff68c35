#include "cgi/cgi_responder.h"

#include <gio/gio.h>

// In one piece: of a process that is killed between two, the client would have a good answer with
// no body or half of one.
void CGI_Responder::sendResponse(const std::string& text, _GOutputStream& stream) {
    g_autoptr(GDataOutputStream) data = g_data_output_stream_new(&stream);
    const std::string answer = "Content-Type: application/json\r\nStatus: 200 OK\r\n\r\n" + text;
    // A client that has gone is no concern of ours.
    g_data_output_stream_put_string(data, answer.c_str(), nullptr, nullptr);
}
