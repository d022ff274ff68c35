#include "xmlnode/parser.h"

#include <libxml/parser.h>

#include <cstring>
#include <memory>
#include <string_view>
#include <utility>
#include <vector>

#include "xmlnode/element.h"

namespace {

// The entities that are resolved are those of XML itself: others would need a document type.
constexpr int kOptions = XML_PARSE_NOENT | XML_PARSE_NONET | XML_PARSE_IGNORE_ENC;

using Context = std::unique_ptr<xmlParserCtxt, decltype(&xmlFreeParserCtxt)>;

const char* asText(const xmlChar* text) {
    return reinterpret_cast<const char*>(text);
}

/// "Rule" of "tt:Rule".
std::string_view withoutPrefix(std::string_view name) {
    return name.substr(name.rfind(':') + 1);
}

/// Builds the tree while the parser reads.
class Builder {
public:
    explicit Builder(xmlParserCtxt* parserContext) : context(parserContext) {}

    void open(const char* name, const xmlChar** attributes) {
        if (path.size() >= XMLNODE_MAX_DEPTH || ++count > XMLNODE_MAX_ELEMENTS) {
            refuse();
            return;
        }
        auto node = std::make_unique<XmlNode>();
        node->tag = withoutPrefix(name);
        for (; attributes != nullptr && attributes[0] != nullptr; attributes += 2) {
            node->attributes.emplace_back(asText(attributes[0]), asText(attributes[1]));
        }
        insert(std::move(node));
    }

    void close() { path.pop_back(); }

    void refuse() {
        refused = true;
        xmlStopParser(context);
    }

    /// The tree, if nothing was against it.
    std::unique_ptr<XmlNode> take() { return refused ? nullptr : std::move(root); }

private:
    void insert(std::unique_ptr<XmlNode> node) {
        auto* const opened = node.get();
        if (path.empty()) {
            root = std::move(node);
        } else {
            path.back()->children.push_back(std::move(node));
        }
        path.push_back(opened);
    }

    xmlParserCtxt* context;  // borrowed
    std::unique_ptr<XmlNode> root;
    std::vector<XmlNode*> path;  // the open elements, from the root
    int count = 0;
    bool refused = false;
};

void onDocumentType(void* builder, const xmlChar*, const xmlChar*, const xmlChar*) {
    static_cast<Builder*>(builder)->refuse();
}

void onOpen(void* builder, const xmlChar* name, const xmlChar** attributes) {
    static_cast<Builder*>(builder)->open(asText(name), attributes);
}

void onClose(void* builder, const xmlChar*) {
    static_cast<Builder*>(builder)->close();
}

/// Only what is heard is kept: names come as they are written, prefix and all. There is no handler
/// for entities and none that could read anything.
void listen(xmlParserCtxt* context, Builder* builder) {
    *context->sax = {};
    context->sax->internalSubset = onDocumentType;
    context->sax->startElement = onOpen;
    context->sax->endElement = onClose;
    context->userData = builder;
}

/// The parser would take a NUL behind the root for the end of the text.
bool isWithinLimits(const char* text, std::size_t length) {
    return text != nullptr && length > 0 && length <= XMLNODE_MAX_LENGTH &&
           std::memchr(text, '\0', length) == nullptr;
}

}  // namespace

std::unique_ptr<XmlNode> parser::parse(const char* text, std::size_t length) {
    if (!isWithinLimits(text, length)) {
        return nullptr;
    }
    const Context context(xmlNewParserCtxt(), &xmlFreeParserCtxt);
    if (context == nullptr) {
        return nullptr;
    }
    Builder builder(context.get());
    listen(context.get(), &builder);
    xmlFreeDoc(xmlCtxtReadMemory(context.get(), text, static_cast<int>(length), nullptr, "UTF-8",
                                 kOptions));
    return context->wellFormed != 0 ? builder.take() : nullptr;
}
