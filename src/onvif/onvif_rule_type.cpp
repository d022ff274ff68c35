#include "onvif/onvif_rule_type.h"

#include "app/convert.h"
#include "device/camera_info.h"
#include "onvif/onvif_namespaces.h"

namespace {

constexpr int kRulesPerCamera = 3;
constexpr int kRulesPerMovingCamera = 10;

/// How many rules a camera may have.
std::string getInstanceLimit() {
    const bool isMoving = CameraInfo::getNbrOfCameras() < 2 && CameraInfo::isMechanicalPTZ();
    return Convert::intToString(isMoving ? kRulesPerMovingCamera : kRulesPerCamera);
}

/// The declarations of the prefixes, as attributes.
std::string getPrefixes() {
    return std::string("xmlns:tt=\"") + kOnvifSchema + "\" xmlns:axt=\"" + kOnvifAnalytics + "\"";
}

}  // namespace

std::string ONVIF::getRuleType() {
    return R"(<tt:RuleDescription Name="tt:MotionRegionDetector" )" + getPrefixes() +
           R"( maxInstances=")" + getInstanceLimit() +
           R"("> <tt:Parameters> )"
           R"( <tt:ElementItemDescription Name="MotionRegion" Type="axt:MotionRegionConfig"/>)"
           R"( </tt:Parameters> <tt:Messages IsProperty="true">  <tt:Source>  )"
           R"( <tt:SimpleItemDescription Name="VideoSource" Type="tt:ReferenceToken"/>  )"
           R"( <tt:SimpleItemDescription Name="RuleName" Type="xs:string"/> )"
           R"( </tt:Source>  <tt:Key/>  <tt:Data>  )"
           R"( <tt:SimpleItemDescription Name="State" Type="xs:boolean"/>  </tt:Data> )"
           R"( <tt:ParentTopic>tns1:RuleEngine/MotionRegionDetector/Motion</tt:ParentTopic>)"
           R"( </tt:Messages></tt:RuleDescription>)";
}

std::string ONVIF::getRuleOptions() {
    return "<axt:MotionRegionConfigOptions " + getPrefixes() + ">  <axt:MaxRegions>" +
           getInstanceLimit() +
           "</axt:MaxRegions>  <axt:DisarmSupport>false</axt:DisarmSupport> "
           " <axt:PolygonSupport>true</axt:PolygonSupport>  <axt:PolygonLimits>   "
           " <tt:Min>3</tt:Min>    <tt:Max>20</tt:Max>  </axt:PolygonLimits> "
           " <axt:SingleSensitivitySupport>false</axt:SingleSensitivitySupport> "
           " <axt:RuleNotification>true</axt:RuleNotification></axt:MotionRegionConfigOptions>";
}
