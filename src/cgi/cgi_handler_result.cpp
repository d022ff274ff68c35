#include "cgi/cgi_handler_result.h"

CGI_HandlerResult::CGI_HandlerResult(json_t* answer) : data(answer), code("0") {}

CGI_HandlerResult::CGI_HandlerResult(json_t* answer, StatusCode_e outcome)
    : data(answer),
      status(outcome),
      code(utils::convertStatusToJsonCode(outcome)),
      message(utils::convertStatusToJsonMessage(outcome)) {}

CGI_HandlerResult::~CGI_HandlerResult() {
    json_decref(data);
}
