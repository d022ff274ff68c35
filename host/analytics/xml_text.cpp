#include "analytics/xml_text.h"

#include <glib.h>

#include <optional>

namespace {

std::string withoutPrefix(const std::string& name) {
    return name.substr(name.rfind(':') + 1);
}

std::string stripped(const std::string& text) {
    constexpr const char* kBlanks = " \t\r\n";
    const std::size_t first = text.find_first_not_of(kBlanks);
    const std::size_t last = text.find_last_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

std::string escaped(const std::string& text) {
    g_autofree char* copy = g_markup_escape_text(text.c_str(), static_cast<gssize>(text.size()));
    return copy;
}

/// Gets what a parser meets, in order.
class Reader {
public:
    virtual ~Reader() = default;
    virtual void begin(const char* name, const char** names, const char** values) = 0;
    virtual void end(const char* name) = 0;
    virtual void text(const std::string& text) = 0;
};

/// Counts what GLib's parser lets pass: nothing at all, several roots, text or a document type
/// outside.
struct Document {
    Reader& reader;
    int depth = 0;
    int roots = 0;
};

void onBegin(GMarkupParseContext*, const char* name, const char** names, const char** values,
             gpointer data, GError** error) {
    auto& document = *static_cast<Document*>(data);
    if (document.depth == 0 && ++document.roots > 1) {
        g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT,
                            "more than one root element");
        return;
    }
    ++document.depth;
    document.reader.begin(name, names, values);
}

void onEnd(GMarkupParseContext*, const char* name, gpointer data, GError**) {
    auto& document = *static_cast<Document*>(data);
    --document.depth;
    document.reader.end(name);
}

void onText(GMarkupParseContext*, const char* text, gsize length, gpointer data, GError** error) {
    auto& document = *static_cast<Document*>(data);
    const std::string content = stripped(std::string(text, length));
    if (document.depth == 0 && !content.empty()) {
        g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT,
                            "text outside the root element");
    } else if (!content.empty()) {
        document.reader.text(content);
    }
}

void onPassthrough(GMarkupParseContext*, const char* text, gsize, gpointer, GError** error) {
    if (g_str_has_prefix(text, "<!") != FALSE && g_str_has_prefix(text, "<!--") == FALSE) {
        g_set_error_literal(error, G_MARKUP_ERROR, G_MARKUP_ERROR_INVALID_CONTENT,
                            "a document type declaration or a character data section");
    }
}

void read(const std::string& text, Reader& reader) {
    constexpr GMarkupParser callbacks = {onBegin, onEnd, onText, onPassthrough, nullptr};
    Document document{reader};
    g_autoptr(GError) error = nullptr;
    g_autoptr(GMarkupParseContext) context =
        g_markup_parse_context_new(&callbacks, GMarkupParseFlags{}, &document, nullptr);
    const bool isWhole =
        g_markup_parse_context_parse(context, text.data(), static_cast<gssize>(text.size()),
                                     &error) != FALSE &&
        g_markup_parse_context_end_parse(context, &error) != FALSE;
    if (!isWhole) {
        throw XmlError(error->message);
    }
}

class RootReader : public Reader {
public:
    void begin(const char* name, const char** names, const char** values) override {
        if (root.has_value()) {
            return;
        }
        root.emplace();
        root->tag = withoutPrefix(name);
        for (; *names != nullptr; ++names, ++values) {
            root->attributes[*names] = *values;
        }
    }
    void end(const char*) override {}
    void text(const std::string&) override {}

    std::optional<XmlText::Root> root;
};

class IndentingReader : public Reader {
public:
    void begin(const char* name, const char** names, const char** values) override {
        closeTag(">\n");
        written += blanks() + "<" + name;
        for (; *names != nullptr; ++names, ++values) {
            written += std::string(" ") + *names + "=\"" + escaped(*values) + "\"";
        }
        ++depth;
        state = State::InTag;
    }
    void end(const char* name) override {
        --depth;
        if (state == State::InTag) {
            written += "/>\n";
        } else if (state == State::InText) {
            written += std::string("</") + name + ">\n";
        } else {
            written += blanks() + "</" + name + ">\n";
        }
        state = State::BetweenTags;
    }
    void text(const std::string& text) override {
        closeTag(">");
        written += escaped(text);
        state = State::InText;
    }

    std::string written;

private:
    enum class State { BetweenTags, InTag, InText };

    void closeTag(const char* ending) {
        if (state == State::InTag) {
            written += ending;
        } else if (state == State::InText) {
            written += "\n";
        }
    }
    std::string blanks() const { return std::string(2 * static_cast<std::size_t>(depth), ' '); }

    int depth = 0;
    State state = State::BetweenTags;
};

}  // namespace

XmlText::Root XmlText::rootOf(const std::string& text) {
    RootReader reader;
    read(text, reader);
    if (!reader.root.has_value()) {
        throw XmlError("no root element");
    }
    return *reader.root;
}

std::string XmlText::indented(const std::string& text) {
    IndentingReader reader;
    read(text, reader);
    if (reader.written.empty()) {
        throw XmlError("no root element");
    }
    return reader.written;
}
