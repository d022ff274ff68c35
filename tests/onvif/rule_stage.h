#pragma once

#include <string>
#include <vector>

#include "device/stream_settings.h"
#include "onvif/onvif_config_converter.h"
#include "support/json_support.h"
#include "support/temporary_folder.h"
#include "xmlnode/xmlnode.h"

/// A square stream in which a pixel is a hundredth of the view: 100 by 100 of 2.0 by 2.0.
inline const StreamSettings kStream(200, 200, 0, false);

/// The rules of an XML text for camera `cameraNbr`.
inline Maybe<OnvifRules> readRules(const std::string& text, int cameraNbr,
                                   const StreamSettings& settings = kStream) {
    g_autoptr(XmlNode) root = xmlnode_parse_string(text.c_str(), 0);
    return OnvifConfigConverter::createRulesFromXML(root, cameraNbr, settings);
}

/// The text of one profile, as a rule with the sensitivity 0.9 and the left half of the view.
inline std::string profileText(int uid, int camera, const std::string& name,
                               const std::string& filters = "[]") {
    return R"({"name":")" + name + R"(","camera":)" + std::to_string(camera) + R"(,"uid":)" +
           std::to_string(uid) +
           R"(,"triggers":[{"type":"includeArea","data":[[-1.0,-1.0],[-1.0,1.0],[0.0,1.0]]}],)" +
           R"("filters":)" + filters + "}";
}

/// A stored configuration document.
class StoredDocument {
public:
    /// `cameras` and `profiles` are what stands between the brackets.
    void store(const std::string& cameras, const std::string& profiles) const {
        write(documentText(cameras, profiles));
    }
    void write(const std::string& text) const { folder.write("config.json", text); }
    std::string path() const { return folder.path("config.json"); }

    /// The text that a conversion gives when the document has these cameras and profiles.
    static std::string documentText(const std::string& cameras, const std::string& profiles) {
        return R"({"apiVersion":"1.4","context":"","method":"setConfiguration","params":{"cameras":[)" +
               cameras + R"(],"profiles":[)" + profiles + R"(],"configurationStatus":7}})";
    }

private:
    TemporaryFolder folder;
};
