#include "app/status.h"

namespace {

struct JsonStatus {
    StatusCode_e status;
    const char* code;
    const char* message;
};

constexpr const char* kGenericCode = "1000";
constexpr const char* kGenericMessage = "An error occurred inside the application.";

constexpr JsonStatus kJsonStatuses[] = {
    {StatusOk, "0", ""},
    {StatusMalformedJson, "2001",
     "The configuration was not formatted correctly, i.e. does not follow json-scheme"},
    {StatusMissingParameter, "2003", "A mandatory parameter is missing"},
    {StatusInvalidParameter, "2004", "The configuration contains an invalid parameter"},
    {StatusConflict, "2002",
     "Parts of the configuration contradict each other, e.g several profiles have the same id"},
    {StatusMethodNotFound, "2005", "The requested CGI method was not found"},
    {StatusVersionNotSupported, "2000",
     "The requested version of the application is not supported."},
    {StatusProductNotSupported, "8000", "The product is not supported by the Lumet."},
    // Shares the code of a conflict but not its message: clients tell the two apart by the text.
    {StatusTooManyRules, "2002", kGenericMessage},
};

const JsonStatus* find(StatusCode_e status) {
    for (const JsonStatus& row : kJsonStatuses) {
        if (row.status == status) {
            return &row;
        }
    }
    return nullptr;
}

}  // namespace

StatusException::StatusException(const std::string& text, StatusCode_e code)
    : message(text), status(code) {}

const char* StatusException::what() const noexcept {
    return message.c_str();
}

std::string utils::convertStatusToJsonCode(StatusCode_e status) {
    const JsonStatus* row = find(status);
    return row != nullptr ? row->code : kGenericCode;
}

std::string utils::convertStatusToJsonMessage(StatusCode_e status) {
    const JsonStatus* row = find(status);
    return row != nullptr ? row->message : kGenericMessage;
}
