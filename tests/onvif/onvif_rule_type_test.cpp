#include "onvif/onvif_rule_type.h"

#include <gtest/gtest.h>

#include <string>

#include "support/test_device.h"

namespace {

std::string typeWith(const std::string& limit) {
    return "<tt:RuleDescription Name=\"tt:MotionRegionDetector\" "
           "xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
           "xmlns:axt=\"http://www.onvif.org/ver20/analytics\" maxInstances=\"" +
           limit +
           "\"> <tt:Parameters>  <tt:ElementItemDescription Name=\"MotionRegion\" "
           "Type=\"axt:MotionRegionConfig\"/> </tt:Parameters> <tt:Messages IsProperty=\"true\">  "
           "<tt:Source>   <tt:SimpleItemDescription Name=\"VideoSource\" "
           "Type=\"tt:ReferenceToken\"/>   <tt:SimpleItemDescription Name=\"RuleName\" "
           "Type=\"xs:string\"/>  </tt:Source>  <tt:Key/>  <tt:Data>   "
           "<tt:SimpleItemDescription Name=\"State\" Type=\"xs:boolean\"/>  </tt:Data>  "
           "<tt:ParentTopic>tns1:RuleEngine/MotionRegionDetector/Motion</tt:ParentTopic> "
           "</tt:Messages></tt:RuleDescription>";
}

std::string optionsWith(const std::string& limit) {
    return "<axt:MotionRegionConfigOptions xmlns:tt=\"http://www.onvif.org/ver10/schema\" "
           "xmlns:axt=\"http://www.onvif.org/ver20/analytics\">  <axt:MaxRegions>" +
           limit +
           "</axt:MaxRegions>  <axt:DisarmSupport>false</axt:DisarmSupport>  "
           "<axt:PolygonSupport>true</axt:PolygonSupport>  <axt:PolygonLimits>    "
           "<tt:Min>3</tt:Min>    <tt:Max>20</tt:Max>  </axt:PolygonLimits>  "
           "<axt:SingleSensitivitySupport>false</axt:SingleSensitivitySupport>  "
           "<axt:RuleNotification>true</axt:RuleNotification></axt:MotionRegionConfigOptions>";
}

class OnvifRuleTypeTest : public testing::Test {
protected:
    TestDevice device;
};

}  // namespace

TEST_F(OnvifRuleTypeTest, OffersThreeRulesOnAFixedCamera) {
    EXPECT_EQ(typeWith("3"), ONVIF::getRuleType());
    EXPECT_EQ(optionsWith("3"), ONVIF::getRuleOptions());
}

TEST_F(OnvifRuleTypeTest, OffersTenRulesOnACameraWithAMovingHead) {
    device.isMechanicalPTZ();
    EXPECT_EQ(typeWith("10"), ONVIF::getRuleType());
    EXPECT_EQ(optionsWith("10"), ONVIF::getRuleOptions());
}

TEST_F(OnvifRuleTypeTest, OffersThreeRulesForEachOfSeveralSources) {
    device.hasSources(2).isMechanicalPTZ();
    EXPECT_EQ(typeWith("3"), ONVIF::getRuleType());
    EXPECT_EQ(optionsWith("3"), ONVIF::getRuleOptions());
}
