// The command itself, as it is started, against a provider of the test's.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>

#include "analytics/analytics_service.h"
#include "bus_client.h"
#include "support/temporary_folder.h"

namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kProvider = R"(<node><interface name="com.orva.Onvif.Rule1">
  <method name="GetRules"><arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="s" direction="out"/></method>
  <method name="CreateRules"><arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="s" direction="in"/></method>
  <method name="ModifyRules"><arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="i" direction="in"/><arg type="i" direction="in"/>
    <arg type="s" direction="in"/></method>
  <method name="DeleteRules"><arg type="i" direction="in"/><arg type="as" direction="in"/></method>
</interface></node>)";

class RulesProgram : public testing::Test {
public:
    RulesProgram() {
        client.emplace(bus);
        node = g_dbus_node_info_new_for_xml(kProvider, nullptr);
    }
    ~RulesProgram() override {
        g_dbus_node_info_unref(node);
        client.reset();
        service.reset();
    }

    /// Starts the analytics service with a provider that notes its calls.
    void provide() {
        if (!service.has_value()) {
            service.emplace();
        }
        static const GDBusInterfaceVTable table = {answer, nullptr, nullptr, {}};
        g_dbus_connection_register_object(client->connection, "/rules", node->interfaces[0], &table,
                                          this, nullptr, nullptr);
        ASSERT_TRUE(pumpUntil([this] {
            return client->call("com.orva.Onvif.Analytics1", "/com/orva/Onvif/Analytics1",
                                "com.orva.Onvif.Analytics1", "RegisterRule",
                                g_variant_new("(ssos)",
                                              "<tt:RuleDescription Name='tt:Motion'> <a/> "
                                              "</tt:RuleDescription>",
                                              "<axt:Options><b>3</b></axt:Options>", "/rules",
                                              "com.orva.Onvif.Rule1")) == "()";
        }));
    }

    /// Runs the command while the main context runs; its status.
    int run(std::vector<std::string> arguments, const std::string& input = "") {
        folder.write("in", input);
        std::string program = RULES;
        std::vector<char*> argv = {program.data()};
        for (std::string& argument : arguments) {
            argv.push_back(argument.data());
        }
        argv.push_back(nullptr);
        const pid_t process = fork();
        if (process == 0) {
            dup2(open(folder.path("in").c_str(), O_RDONLY | O_CLOEXEC), 0);
            dup2(open(folder.path("out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 1);
            dup2(open(folder.path("err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600), 2);
            execv(argv[0], argv.data());
            _exit(127);
        }
        int status = 0;
        while (waitpid(process, &status, WNOHANG) == 0) {
            while (g_main_context_iteration(nullptr, FALSE) != FALSE) {
            }
            usleep(1000);
        }
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }
    std::string output() const { return folder.read("out"); }
    std::string errors() const { return folder.read("err"); }

    static void answer(GDBusConnection*, const char*, const char*, const char*, const char* method,
                       GVariant* parameters, GDBusMethodInvocation* call, gpointer data) {
        auto* test = static_cast<RulesProgram*>(data);
        g_autofree char* text = g_variant_print(parameters, FALSE);
        test->calls.push_back(std::string(method) + text);
        if (!test->error.empty()) {
            g_dbus_method_invocation_return_dbus_error(call, test->error.c_str(), "Error");
        } else if (std::string(method) == "GetRules") {
            g_dbus_method_invocation_return_value(call, g_variant_new("(s)", "<GetRules/>"));
        } else {
            g_dbus_method_invocation_return_value(call, nullptr);
        }
    }

    PrivateBus bus;
    TemporaryFolder folder;
    std::optional<BusClient> client;
    std::optional<AnalyticsService> service;
    GDBusNodeInfo* node;
    std::vector<std::string> calls;
    std::string error;
};

TEST_F(RulesProgram, ListsTheRulesAsTheyCome) {
    provide();
    EXPECT_EQ(
        0, run({"list", "--source", "1", "--width", "640", "--height", "480", "--rotation", "90"}));
    EXPECT_EQ("<GetRules/>\n", output());
    EXPECT_THAT(calls, testing::ElementsAre("GetRules(1, 640, 480, 90)"));
}

TEST_F(RulesProgram, CreatesAndModifiesFromAFileOrStandardInput) {
    provide();
    EXPECT_EQ(0, run({"create", folder.write("rules.xml", "<a/>")}));
    EXPECT_EQ(0, run({"modify", "-"}, "<b/>"));
    EXPECT_EQ("", output());
    EXPECT_THAT(calls, testing::ElementsAre("CreateRules(0, 1280, 720, 0, '<a/>')",
                                            "ModifyRules(0, 1280, 720, 0, '<b/>')"));
}

TEST_F(RulesProgram, DeletesByName) {
    provide();
    EXPECT_EQ(0, run({"delete", "Door", "--", "-Gate"}));
    EXPECT_THAT(calls, testing::ElementsAre("DeleteRules(0, ['Door', '-Gate'])"));
}

TEST_F(RulesProgram, PrintsTypesAndOptionsForReading) {
    provide();
    EXPECT_EQ(0, run({"types"}));
    EXPECT_EQ("<tt:RuleDescription Name=\"tt:Motion\">\n  <a/>\n</tt:RuleDescription>\n", output());
    EXPECT_EQ(0, run({"options"}));
    EXPECT_EQ("<axt:Options>\n  <b>3</b>\n</axt:Options>\n", output());
}

TEST_F(RulesProgram, PrintsTheNameOfAnErrorAndEndsWithStatus1) {
    provide();
    error = "com.orva.Onvif.Rule1.Error.TooManyRules";
    EXPECT_EQ(1, run({"create", "-"}, "<a/>"));
    EXPECT_EQ("rules: com.orva.Onvif.Rule1.Error.TooManyRules: Error\n", errors());
    EXPECT_EQ("", output());
}

TEST_F(RulesProgram, EndsWithStatus2ForWhatCannotBeSent) {
    provide();
    const std::string hint = "; rules --help tells how\n";
    EXPECT_EQ(2, run({"burn"}));
    EXPECT_EQ("rules: no command \"burn\"" + hint, errors());
    EXPECT_EQ(2, run({"create", "/nonexistent"}));
    EXPECT_EQ("rules: /nonexistent: No such file or directory" + hint, errors());
    EXPECT_EQ(2, run({"create", "/tmp/nonexistent"}));
    EXPECT_THAT(errors(), HasSubstr("inside the device"));
    EXPECT_EQ(2, run({"create", "nonexistent"}));
    EXPECT_EQ("rules: nonexistent: No such file or directory" + hint, errors());
    const std::filesystem::path here = std::filesystem::current_path();
    std::filesystem::current_path("/");
    EXPECT_EQ(2, run({"create", "nonexistent"}));
    std::filesystem::current_path(here);
    EXPECT_THAT(errors(), HasSubstr("inside the device"));
    for (const std::string& text : {std::string("\xff"), std::string("a\0b", 3)}) {
        EXPECT_EQ(2, run({"modify", "-"}, text));
        EXPECT_EQ("rules: -: not UTF-8 text" + hint, errors());
    }
    EXPECT_EQ(2, run({"delete", "Door", "T\xfcr"}));
    EXPECT_EQ("rules: a name is not UTF-8 text" + hint, errors());
    EXPECT_EQ(2, run({"create", "-"}, std::string(16 << 20, ' ')));
    EXPECT_THAT(errors(), HasSubstr("longer than 16773120 bytes"));
    EXPECT_TRUE(calls.empty());
}

TEST_F(RulesProgram, WaitsForAProviderThatComesALittleLater) {
    service.emplace();
    const unsigned later = g_timeout_add(
        200,
        [](gpointer test) -> gboolean {
            static_cast<RulesProgram*>(test)->provide();
            return G_SOURCE_REMOVE;
        },
        this);
    EXPECT_EQ(0, run({"list"}));
    EXPECT_NE(0U, later);
}

TEST_F(RulesProgram, SaysWhenNobodyHasRegistered) {
    EXPECT_EQ(1, run({"list"}));
    EXPECT_EQ("rules: nobody has registered rules with the analytics service\n", errors());
}

TEST_F(RulesProgram, SaysWhenThereIsNoBus) {
    client.reset();
    bus.stop();
    EXPECT_EQ(1, run({"list"}));
    EXPECT_THAT(errors(), StartsWith("rules: "));
}

TEST_F(RulesProgram, TellsHowItIsUsed) {
    EXPECT_EQ(0, run({"--help"}));
    EXPECT_THAT(output(), StartsWith("usage: rules list"));
}

}  // namespace
