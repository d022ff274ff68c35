// Random texts where a client's rules are read: as XML, on to a document with the rules, to the
// checks of a configuration, and back to XML.

#include <glib.h>
#include <glib/gstdio.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "config/configuration_parser.h"
#include "config/data_boundaries.h"
#include "config/ktw_guard_factory.h"
#include "device/stream_settings.h"
#include "onvif/onvif_config_converter.h"
#include "onvif/rule_xml.h"
#include "xmlnode/xmlnode.h"

// Every refusal is logged: not in the machine's log, here.
extern "C" void syslog(int, const char*, ...) {}
extern "C" void __syslog_chk(int, int, const char*, ...) {}

namespace {

constexpr int kCamera = 1;
constexpr int kRotations[] = {0, 90, 180, 270, 45};
constexpr const char* kDocument =
    R"({"params":{"cameras":[{"id":1,"active":true,"rotation":0}],"profiles":[)"
    R"({"name":"Door","camera":1,"uid":1,"filters":[],"triggers":[{"type":"includeArea",)"
    R"("data":[[-0.5,-0.5],[0.5,-0.5],[0.5,0.5]]}]}]}})";

void require(bool condition) {
    if (!condition) {
        std::abort();
    }
}

/// A file in memory, if there is a place for it.
class StoredDocument {
public:
    StoredDocument() {
        const char* root = g_file_test("/dev/shm", G_FILE_TEST_IS_DIR) ? "/dev/shm" : "/tmp";
        folder = std::string(root) + "/rule-fuzz-XXXXXX";
        require(g_mkdtemp(folder.data()) != nullptr);
    }
    ~StoredDocument() {
        g_unlink(path().c_str());
        g_rmdir(folder.c_str());
    }
    StoredDocument(const StoredDocument&) = delete;
    StoredDocument& operator=(const StoredDocument&) = delete;

    std::string path() const { return folder + "/config.json"; }
    void store(const std::string& text) const { std::ofstream(path(), std::ios::binary) << text; }

private:
    std::string folder;
};

Maybe<OnvifRules> read(const char* text, std::size_t length, const StreamSettings& settings) {
    g_autoptr(XmlNode) root = xmlnode_parse_string(text, length);
    return OnvifConfigConverter::createRulesFromXML(root, kCamera, settings);
}

bool isPlain(const std::string& name) {
    return std::all_of(name.begin(), name.end(), [](unsigned char character) {
        return character >= ' ' && character != '"' && character != '\\' && character != '<' &&
               character != '&';
    });
}

/// A sensitivity that is no number cannot be read back, and a name may hold what is not escaped.
bool arePlain(const OnvifRules& rules) {
    return std::all_of(rules.begin(), rules.end(), [](const OnvifRule& rule) {
        return isPlain(rule.getName()) && !std::isnan(rule.getSensitivity());
    });
}

/// Whether the XML of the rules is within what may be read. Rules inside each other share points.
bool isReadable(const OnvifRules& rules, const std::string& text) {
    std::ptrdiff_t elements = 1;
    for (const OnvifRule& rule : rules) {
        elements += 5 + std::distance(rule.begin(), rule.end());
    }
    return elements <= XMLNODE_MAX_ELEMENTS && text.size() <= XMLNODE_MAX_LENGTH;
}

/// What has been read is written, and reads as the same but for the decimals of the sensitivity.
void writeAndRead(const OnvifRules& rules, const StreamSettings& settings) {
    const std::string text = RuleXml::write(rules);
    if (!arePlain(rules) || !isReadable(rules, text)) {
        return;
    }
    const Maybe<OnvifRules> again = read(text.data(), text.size(), settings);
    require(again.hasValue() && again.get().getRules().size() == rules.getRules().size());
    require(RuleXml::write(again.get()) == text);
}

void apply(const ConfigConversionResult& result, const StoredDocument& document,
           const StreamSettings& settings) {
    require(result.text.hasValue() || result.status.hasValue());
    if (!result.text.hasValue()) {
        return;
    }
    static const DataBoundaries boundaries = DataBoundaries::ofThisBuild();
    ConfigurationParser<KTW_GuardFactory> parser;
    parser.parse(result.text.get(), boundaries);
    document.store(result.text.get());
    OnvifConfigConverter::getRules(document.path(), kCamera, settings);
}

void createModifyDelete(const OnvifRules& rules, const StreamSettings& settings) {
    static const StoredDocument document;
    std::vector<std::string> names;
    for (const OnvifRule& rule : rules) {
        names.push_back(rule.getName());
    }
    const std::string path = document.path();
    document.store(kDocument);
    apply(OnvifConfigConverter::createRules(rules, path, settings), document, settings);
    apply(OnvifConfigConverter::modifyRules(rules, path, settings), document, settings);
    apply(OnvifConfigConverter::deleteRules(names, path, kCamera), document, settings);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size < 2) {
        return 0;
    }
    // The first byte chooses the stream.
    const StreamSettings settings(8 * data[0], 5 * data[0], kRotations[data[0] % 5], false);
    const auto* text = reinterpret_cast<const char*>(data + 1);
    const Maybe<OnvifRules> rules = read(text, size - 1, settings);
    if (rules.hasValue()) {
        writeAndRead(rules.get(), settings);
        createModifyDelete(rules.get(), settings);
    }
    return 0;
}
