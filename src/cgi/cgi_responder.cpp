#include "cgi/cgi_responder.h"

#include <gio/gio.h>

void CGI_Responder::sendResponse(const std::string& text, _GOutputStream& stream) {
    g_autoptr(GDataOutputStream) data = g_data_output_stream_new(&stream);
    for (const char* part :
         {"Content-Type: application/json\r\n", "Status: 200 OK\r\n\r\n", text.c_str()}) {
        // A client that has gone is no concern of ours.
        g_data_output_stream_put_string(data, part, nullptr, nullptr);
    }
}
