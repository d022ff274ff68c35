#include "analytics/rule_registry.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using Reason = RegistrationError::Reason;

RuleType motion() {
    return {":1.4",
            "/com/orva/MotionRegion",
            "com.orva.Onvif.Rule1",
            "<tt:RuleDescription Name=\"tt:MotionRegionDetector\"/>",
            "<axt:MotionRegionConfigOptions/>",
            "",
            {}};
}

void expectRefused(RuleType type, Reason reason, const std::string& text) {
    RuleRegistry registry;
    try {
        registry.add(std::move(type));
        ADD_FAILURE() << "taken";
    } catch (const RegistrationError& error) {
        EXPECT_EQ(reason, error.reason);
        EXPECT_EQ(text, error.what());
    }
    EXPECT_TRUE(registry.types().empty());
}

TEST(RuleRegistry, ReadsTheNameOfATypeFromItsDescription) {
    RuleRegistry registry;
    EXPECT_EQ("tt:MotionRegionDetector", registry.add(motion()).name);
    ASSERT_EQ(1U, registry.types().size());
    EXPECT_EQ(":1.4", registry.types()[0].provider);
}

TEST(RuleRegistry, ReplacesATypeAndKeepsItsChanges) {
    RuleRegistry registry;
    registry.add(motion());
    registry.noteChange("/com/orva/MotionRegion", "com.orva.Onvif.Rule1", 1);
    RuleType again = motion();
    again.options = "<axt:Other/>";
    registry.add(again);
    ASSERT_EQ(1U, registry.types().size());
    EXPECT_EQ("<axt:Other/>", registry.types()[0].options);
    EXPECT_EQ(1U, registry.types()[0].changes.at(1));
}

TEST(RuleRegistry, KeepsTypesApartByProviderObjectInterfaceAndName) {
    RuleRegistry registry;
    registry.add(motion());
    RuleType other = motion();
    other.provider = ":1.5";
    registry.add(other);
    other.objectPath = "/other";
    registry.add(other);
    other.interface = "com.orva.Other1";
    registry.add(other);
    other.description = "<RuleDescription Name=\"tt:Line\"/>";
    registry.add(other);
    EXPECT_EQ(5U, registry.types().size());
}

TEST(RuleRegistry, ForgetsAProviderWithAllItsTypes) {
    RuleRegistry registry;
    registry.add(motion());
    RuleType other = motion();
    other.provider = ":1.5";
    registry.add(other);
    EXPECT_TRUE(registry.removeProvider(":1.4"));
    EXPECT_FALSE(registry.removeProvider(":1.4"));
    ASSERT_EQ(1U, registry.types().size());
    EXPECT_EQ(":1.5", registry.types()[0].provider);
    registry.clear();
    EXPECT_TRUE(registry.types().empty());
}

TEST(RuleRegistry, CountsChangesBySource) {
    RuleRegistry registry;
    registry.add(motion());
    for (const int source : {0, 1, 1}) {
        EXPECT_TRUE(registry.noteChange("/com/orva/MotionRegion", "com.orva.Onvif.Rule1", source));
    }
    EXPECT_EQ((std::map<int, unsigned>{{0, 1}, {1, 2}}), registry.types()[0].changes);
}

TEST(RuleRegistry, NotesNoChangeOfStrangersAndOfSourcesThatCannotBe) {
    RuleRegistry registry;
    registry.add(motion());
    EXPECT_FALSE(registry.noteChange("/other", "com.orva.Onvif.Rule1", 0));
    EXPECT_FALSE(registry.noteChange("/com/orva/MotionRegion", "com.orva.Other1", 0));
    EXPECT_FALSE(registry.noteChange("/com/orva/MotionRegion", "com.orva.Onvif.Rule1", -1));
    EXPECT_FALSE(registry.noteChange("/com/orva/MotionRegion", "com.orva.Onvif.Rule1",
                                     RuleRegistry::maxSources));
    EXPECT_TRUE(registry.types()[0].changes.empty());
}

TEST(RuleRegistry, RefusesWhatIsNoDescription) {
    RuleType type = motion();
    for (const char* text :
         {"<Other Name=\"a\"/>", "<RuleDescription/>", "<RuleDescription Name=\"\"/>"}) {
        type.description = text;
        expectRefused(type, Reason::InvalidType, "not a RuleDescription with a Name");
    }
    type.description = std::string(RuleRegistry::maxTextLength + 1, ' ');
    expectRefused(type, Reason::InvalidType, "the text is too long");
}

TEST(RuleRegistry, RefusesOptionsThatAreNoXml) {
    RuleType type = motion();
    type.options = "<a/><b/>";
    expectRefused(type, Reason::InvalidOptions, "more than one root element");
}

TEST(RuleRegistry, RefusesWhatIsNoInterface) {
    RuleType type = motion();
    type.interface = "interface";
    expectRefused(type, Reason::InvalidInterface, "not the name of an interface");
}

TEST(RuleRegistry, RefusesMoreTypesThanItKeeps) {
    RuleRegistry registry;
    RuleType type = motion();
    for (std::size_t number = 0; number < RuleRegistry::maxTypes; ++number) {
        type.objectPath = "/rules/" + std::to_string(number);
        registry.add(type);
    }
    registry.add(type);
    type.objectPath = "/rules/more";
    EXPECT_THROW(registry.add(type), RegistrationError);
    EXPECT_EQ(RuleRegistry::maxTypes, registry.types().size());
}

}  // namespace
