#include "onvif/onvif_handler.h"

#include "cgi/cgi_handler_fixture.h"
#include "device/stream_settings.h"
#include "onvif/config_conversion_result.h"
#include "support/failing_json_memory.h"
#include "xmlnode/double/xmlnode_double.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const StreamSettings kStream(200, 200, 0, false);

std::string rule(const std::string& name, const std::string& sensitivity = "1.0") {
    return "<Rule Name=\"" + name + "\"><MotionRegionConfig Sensitivity=\"" + sensitivity +
           "\"><Point x=\"0\" y=\"0\"/><Point x=\"0\" y=\"100\"/><Point x=\"100\" y=\"100\"/>"
           "</MotionRegionConfig></Rule>";
}

std::string rules(const std::vector<std::string>& names) {
    std::string text = "<a>";
    for (const std::string& name : names) {
        text += rule(name);
    }
    return text + "</a>";
}

class OnvifHandlerTest : public CGI_HandlerFixture<Onvif_CGI_Handler> {
protected:
    OnvifHandlerTest() : CGI_HandlerFixture(withoutBus()), operations(*handler) {
        XmlnodeDouble::reset();
        log.clear();
    }
    ~OnvifHandlerTest() override {
        EXPECT_EQ(XmlnodeDouble::liveTrees(), 0);
        g_unsetenv("DBUS_SYSTEM_BUS_ADDRESS");
    }

    static const WatchedDevice::Parameters& withoutBus() {
        g_setenv("DBUS_SYSTEM_BUS_ADDRESS", "unix:path=/nonexistent/bus", TRUE);
        return WatchedDevice::plain;
    }

    /// The names of the stored profiles.
    std::vector<std::string> names() const {
        std::vector<std::string> list;
        const JsonAutoPtr document = json(stored());
        json_t* profiles = json_object_get(json_object_get(document.get(), "params"), "profiles");
        for (std::size_t i = 0; i < json_array_size(profiles); ++i) {
            list.emplace_back(
                json_string_value(json_object_get(json_array_get(profiles, i), "name")));
        }
        return list;
    }
    /// The stored document without its counter.
    std::string storedContent() const {
        const JsonAutoPtr document = json(stored());
        json_object_del(json_object_get(document.get(), "params"), "configurationStatus");
        return dump(document.get());
    }
    static std::string dump(const json_t* value) {
        char* text = json_dumps(value, JSON_COMPACT);
        const std::string copy = text;
        std::free(text);
        return copy;
    }

    StatusCode_e create(const std::string& text) {
        return operations.handleCreateRules(text, 1, kStream);
    }
    StatusCode_e modify(const std::string& text) {
        return operations.handleModifyRules(text, 1, kStream);
    }
    StatusCode_e remove(const std::vector<std::string>& list) {
        return operations.handleDeleteRules(list, 1);
    }

    /// A failed operation with its status, its last word in the log, and nothing changed.
    void expectRefused(StatusCode_e expected, StatusCode_e status, const std::string& lastWord,
                       const std::string& before) {
        EXPECT_EQ(status, expected);
        ASSERT_FALSE(log.lines().empty());
        EXPECT_EQ(log.lines().back(), (SyslogCapture::Line{LOG_WARNING, lastWord}));
        EXPECT_EQ(stored(), before);
        log.clear();
    }

    OnvifHandler operations;
};

TEST_F(OnvifHandlerTest, CreatesRulesBesideThoseThatAreThere) {
    start({4});
    EXPECT_EQ(create(rules({"Gate", "Lawn"})), StatusOk);
    EXPECT_THAT(names(), ElementsAre("Door 4", "Gate", "Lawn"));
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(4, 5, 6));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifHandlerTest, CountsEachChangeOnce) {
    start({});
    const int before = storedCounter();
    EXPECT_EQ(create(rules({"Gate"})), StatusOk);
    EXPECT_EQ(modify(rules({"Gate"})), StatusOk);
    EXPECT_EQ(remove({"Gate"}), StatusOk);
    EXPECT_EQ(storedCounter(), before + 3);
}

TEST_F(OnvifHandlerTest, ModifiesARuleInItsPlace) {
    start({1, 2});
    EXPECT_EQ(modify(rules({"Door 1"})), StatusOk);
    EXPECT_THAT(names(), ElementsAre("Door 1", "Door 2"));
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1, 2));
    const ConfigConversionResult now = operations.handleGetRules(1, kStream);
    EXPECT_THAT(now.text.get(), testing::HasSubstr("<tt:Point x=\"100\" y=\"100\"/>"));
}

TEST_F(OnvifHandlerTest, SucceedsInModifyingWhatIsNotThere) {
    start({1});
    const std::string before = storedContent();
    EXPECT_EQ(modify(rules({"Gate"})), StatusOk);
    EXPECT_EQ(operations.handleModifyRules(rules({"Door 1"}), 2, kStream), StatusOk);
    EXPECT_EQ(storedContent(), before);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(OnvifHandlerTest, DeletesRulesByName) {
    start({1, 2, 3});
    EXPECT_EQ(remove({"Door 3", "none", "Door 1"}), StatusOk);
    EXPECT_THAT(names(), ElementsAre("Door 2"));
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(2));
}

TEST_F(OnvifHandlerTest, SavesTheDocumentUnchangedWhenNoNameIsGiven) {
    start({1});
    const std::string before = storedContent();
    const int counter = storedCounter();
    EXPECT_EQ(remove({}), StatusOk);
    EXPECT_EQ(storedContent(), before);
    EXPECT_EQ(storedCounter(), counter + 1);
}

TEST_F(OnvifHandlerTest, ReadsRulesFromTheStoredDocument) {
    start({1});
    const ConfigConversionResult result = operations.handleGetRules(1, kStream);
    EXPECT_TRUE(
        result.text.get().starts_with("<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
                                      "<GetRules>\n\t<tt:Rule Name=\"Door 1\""));
    EXPECT_EQ(operations.handleGetRules(2, kStream).text.get(),
              "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n<GetRules>\n</GetRules>");
    folder.write("config.json", "");
    EXPECT_FALSE(operations.handleGetRules(1, kStream).text.hasValue());
}

TEST_F(OnvifHandlerTest, TakesAnUnparsableTextForAnInternalErrorOnCreateAndForBadXmlOnModify) {
    start({1});
    const std::string before = stored();
    for (const char* text : {"", "no XML", "<a>", "<!DOCTYPE a><a/>"}) {
        expectRefused(StatusInternalError, create(text), "[CreateRules] Could not parse XML-data\n",
                      before);
        expectRefused(StatusMalformedXml, modify(text), "[ModifyRules] Could not parse XML-data\n",
                      before);
    }
}

TEST_F(OnvifHandlerTest, TakesATextWithoutGoodRulesForAnInternalErrorInBothCases) {
    start({1});
    const std::string before = stored();
    for (const std::string& text : {std::string("<a/>"), "<a>" + rule("Gate", "1.5") + "</a>",
                                    std::string("<a><Rule/></a>")}) {
        expectRefused(StatusInternalError, create(text),
                      "[CreateRules] Could create rules from XML-data\n", before);
        expectRefused(StatusInternalError, modify(text),
                      "[ModifyRules] Could create rules from XML-data\n", before);
    }
}

TEST_F(OnvifHandlerTest, HandsOnTheStatusOfAConversionThatFails) {
    start({1});
    store("{}");
    const StatusCode_e status = operations.handleGetRules(1, kStream).status.get();
    ASSERT_NE(status, StatusOk);
    ASSERT_NE(status, StatusInternalError);
    expectRefused(status, create(rules({"Gate"})),
                  "[CreateRules] Could not create the configuration\n", "{}");
    expectRefused(status, modify(rules({"Gate"})),
                  "[ModifyRules] Could not create the configuration\n", "{}");
    expectRefused(status, remove({"Gate"}), "[DeleteRules] Could not create configuration\n", "{}");
}

TEST_F(OnvifHandlerTest, RefusesRulesBeyondTheLimitAndChangesNothing) {
    start({});
    std::vector<std::string> many;
    while (create(rules({"Gate " + std::to_string(many.size())})) == StatusOk) {
        many.push_back("Gate " + std::to_string(many.size()));
    }
    ASSERT_GT(many.size(), 1U);
    EXPECT_THAT(names(), testing::ElementsAreArray(many));
    const std::string before = stored();
    const std::vector<int> running = StagedContainer::profiles();
    expectRefused(StatusTooManyRules, create(rules({"More"})),
                  "[CreateRules] Could save the configuration\n", before);
    EXPECT_EQ(StagedContainer::profiles(), running);
}

TEST_F(OnvifHandlerTest, CreatesASecondRuleOfAName) {
    start({1});
    EXPECT_EQ(create(rules({"Door 1"})), StatusOk);
    EXPECT_THAT(names(), ElementsAre("Door 1", "Door 1"));
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1, 2));
}

TEST_F(OnvifHandlerTest, HandsOnTheStatusOfADocumentThatIsRefused) {
    start({1});
    // Two profiles of one id: whatever becomes of the others, the whole contradicts itself.
    const std::string before = documentOf({1, 1, 2});
    store(before);
    expectRefused(StatusConflict, create(rules({"Gate"})),
                  "[CreateRules] Could save the configuration\n", before);
    expectRefused(StatusConflict, modify(rules({"Door 2"})),
                  "[ModifyRules] Could not save the configuration\n", before);
    expectRefused(StatusConflict, remove({"Door 2"}),
                  "[DeleteRules] Could not save configuration\n", before);
}

TEST_F(OnvifHandlerTest, LeavesEverythingAsItIsWhenADocumentCannotBeSaved) {
    start({1});
    // No name is left for the new file beside one with such a long name.
    const std::string name(250, 'c');
    folder.write(name, stored());
    Onvif_CGI_Handler final(*container, controlVersions(), folder.path(name), motionLevelPath(),
                            &limits, &defaults, &parser);
    OnvifHandler onFinal(final);
    log.clear();
    EXPECT_EQ(onFinal.handleCreateRules(rules({"Gate"}), 1, kStream), StatusSaveError);
    EXPECT_EQ(log.texts().back(), "[CreateRules] Could save the configuration\n");
    EXPECT_EQ(onFinal.handleModifyRules(rules({"Door 1"}), 1, kStream), StatusSaveError);
    EXPECT_EQ(log.texts().back(), "[ModifyRules] Could not save the configuration\n");
    EXPECT_EQ(onFinal.handleDeleteRules({"Door 1"}, 1), StatusSaveError);
    EXPECT_EQ(log.texts().back(), "[DeleteRules] Could not save configuration\n");
    EXPECT_EQ(folder.read(name), stored());
    EXPECT_THAT(StagedContainer::profiles(), ElementsAre(1));
}

TEST_F(OnvifHandlerTest, ChangesAllOrNothingWhenThereIsNoMemoryAtAnyStep) {
    start({1});
    const std::string before = stored();
    const std::string text = rules({"Gate"});
    for (int n = 1;; ++n) {
        StatusCode_e status = StatusOk;
        {
            const FailingJsonMemory memory(n);
            status = create(text);
            if (memory.hasNotFailed()) {
                break;
            }
        }
        if (status == StatusOk) {
            ASSERT_THAT(names(), ElementsAre("Door 1", "Gate")) << n;
            ASSERT_EQ(set(before), StatusOk);
            store(before);
        } else {
            ASSERT_EQ(stored(), before) << n;
            ASSERT_THAT(StagedContainer::profiles(), ElementsAre(1)) << n;
        }
    }
}

TEST_F(OnvifHandlerTest, TakesAConversionWithoutAStatusForAnInternalError) {
    start({1});
    const std::string before = stored();
    bool isSeen = false;
    for (int n = 1; !isSeen; ++n) {
        StatusCode_e status = StatusOk;
        {
            const FailingJsonMemory memory(n);
            status = remove({"Door 1"});
            ASSERT_FALSE(memory.hasNotFailed());
        }
        isSeen = log.texts() ==
                 std::vector<std::string>{"[DeleteRules] Could not create configuration\n"};
        EXPECT_TRUE(!isSeen || status == StatusInternalError);
        log.clear();
        store(before);
    }
}

TEST_F(OnvifHandlerTest, AsksTheParserForATextThatEndsWithNul) {
    start({});
    create(rules({"Gate"}));
    EXPECT_THAT(XmlnodeDouble::parsedTexts(), ElementsAre(rules({"Gate"})));
}

}  // namespace
