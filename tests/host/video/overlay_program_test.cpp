// The command itself, as it is started, against a service of the test's.

#include <gio/gio.h>
#include <gio/gunixfdlist.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <mutex>
#include <optional>

#include "support/bus_service.h"
#include "support/temporary_folder.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kInterfaces = R"xml(<node>
<interface name="com.orva.Host.Overlays1">
  <method name="AddText"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="a{ss}" direction="in"/><arg type="i" direction="out"/></method>
  <method name="AddImage"><arg type="h" direction="in"/><arg type="s" direction="in"/>
    <arg type="a{ss}" direction="in"/><arg type="i" direction="out"/></method>
  <method name="Move"><arg type="i" direction="in"/><arg type="s" direction="in"/></method>
  <method name="Remove"><arg type="i" direction="in"/></method>
  <method name="List"><arg type="a(iisss)" direction="out"/></method>
</interface>
<interface name="com.orva.Host.Faults1">
  <method name="Set"><arg type="s" direction="in"/><arg type="s" direction="in"/>
    <arg type="u" direction="in"/><arg type="u" direction="in"/><arg type="u" direction="in"/>
  </method>
  <method name="Clear"/>
</interface>
<interface name="com.orva.Host.Streams1">
  <method name="Remove"><arg type="i" direction="in"/></method>
  <method name="Add"><arg type="i" direction="in"/></method>
</interface></node>)xml";

class OverlayProgram : public testing::Test {
public:
    OverlayProgram() : node(g_dbus_node_info_new_for_xml(kInterfaces, nullptr)) {}
    ~OverlayProgram() override {
        streams.reset();
        overlays.reset();
        g_dbus_node_info_unref(node);
    }

    /// Starts the services, which note their calls.
    void serve() {
        overlays.emplace(bus, "com.orva.Overlay2", [this](GDBusConnection* connection) {
            offer(connection, "/com/orva/Overlay2", 0);
            offer(connection, "/com/orva/Overlay2", 1);
        });
        streams.emplace(bus, "com.orva.Graphics1", [this](GDBusConnection* connection) {
            offer(connection, "/com/orva/Graphics1", 2);
        });
    }

    /// Runs the command; its status.
    int run(const std::vector<const char*>& arguments, const std::string& input = "") {
        std::vector<const char*> command = {OVERLAY};
        command.insert(command.end(), arguments.begin(), arguments.end());
        command.push_back(nullptr);
        g_autoptr(GSubprocess) process =
            g_subprocess_newv(command.data(),
                              static_cast<GSubprocessFlags>(G_SUBPROCESS_FLAGS_STDIN_PIPE |
                                                            G_SUBPROCESS_FLAGS_STDOUT_PIPE |
                                                            G_SUBPROCESS_FLAGS_STDERR_PIPE),
                              nullptr);
        g_autoptr(GBytes) given = g_bytes_new(input.data(), input.size());
        g_autoptr(GBytes) out = nullptr;
        g_autoptr(GBytes) err = nullptr;
        g_subprocess_communicate(process, given, nullptr, &out, &err, nullptr);
        output = text(out);
        errors = text(err);
        return g_subprocess_get_if_exited(process) != FALSE ? g_subprocess_get_exit_status(process)
                                                            : -g_subprocess_get_term_sig(process);
    }

    std::vector<std::string> takeCalls() {
        const std::lock_guard lock(mutex);
        return std::exchange(calls, {});
    }

    void fail(const std::string& name) {
        const std::lock_guard lock(mutex);
        error = name;
    }

    PrivateBus bus;
    TemporaryFolder folder;
    std::optional<BusService> overlays;
    std::optional<BusService> streams;
    std::string output;
    std::string errors;

private:
    void offer(GDBusConnection* connection, const char* path, int interface) {
        static const GDBusInterfaceVTable table = {answer, nullptr, nullptr, {}};
        g_dbus_connection_register_object(connection, path, node->interfaces[interface], &table,
                                          this, nullptr, nullptr);
    }

    static std::string text(GBytes* bytes) {
        gsize size = 0;
        const auto* data = static_cast<const char*>(g_bytes_get_data(bytes, &size));
        return data == nullptr ? std::string() : std::string(data, size);
    }

    /// What stands in the first file that came with a call, read from its beginning.
    static std::string fileOf(GDBusMethodInvocation* call) {
        GUnixFDList* handed =
            g_dbus_message_get_unix_fd_list(g_dbus_method_invocation_get_message(call));
        const int file = g_unix_fd_list_get(handed, 0, nullptr);
        std::string content(64, '\0');
        content.resize(static_cast<std::size_t>(read(file, content.data(), content.size())));
        close(file);
        return content;
    }

    static void answer(GDBusConnection*, const char*, const char*, const char* interface,
                       const char* method, GVariant* parameters, GDBusMethodInvocation* call,
                       gpointer data) {
        auto* test = static_cast<OverlayProgram*>(data);
        const std::string name = method;
        g_autofree char* arguments = g_variant_print(parameters, FALSE);
        const std::lock_guard lock(test->mutex);
        test->calls.push_back(std::string(interface).substr(14) + "." + name + arguments +
                              (name == "AddImage" ? fileOf(call) : ""));
        if (!test->error.empty()) {
            g_dbus_method_invocation_return_dbus_error(call, test->error.c_str(), "no such one");
        } else if (name == "AddText" || name == "AddImage") {
            g_dbus_method_invocation_return_value(call, g_variant_new("(i)", 7));
        } else if (name == "List") {
            g_dbus_method_invocation_return_value(
                call, g_variant_new_parsed("([(7, 1, 'textoverlay', 'top', 'Gate 3'),"
                                           " (12, 2, 'imageoverlay', '-1.0000,0.5000', '')],)"));
        } else {
            g_dbus_method_invocation_return_value(call, nullptr);
        }
    }

    GDBusNodeInfo* node;
    std::mutex mutex;
    std::vector<std::string> calls;  // guarded by mutex
    std::string error;               // guarded by mutex
};

TEST_F(OverlayProgram, AddsATextAndPrintsItsId) {
    serve();
    EXPECT_EQ(0, run({"text", "Gate 3", "top"}));
    EXPECT_EQ("7\n", output);
    EXPECT_EQ(0, run({"text", "Tür", "-1,0", "--camera", "2", "--height", "60", "--fixed"}));
    EXPECT_THAT(takeCalls(), ElementsAre("Overlays1.AddText('Gate 3', 'top', {})",
                                         "Overlays1.AddText('Tür', '-1,0', "
                                         "{'Camera': '2', 'Height': '60', 'Scalable': 'false'})"));
}

TEST_F(OverlayProgram, HandsAnImageOverFromAFileOrFromStandardInput) {
    serve();
    EXPECT_EQ(0, run({"image", folder.write("a.png", "of a file").c_str(), "bottomleft"}));
    EXPECT_EQ("7\n", output);
    EXPECT_EQ(0, run({"image", "-", "top", "--width", "200"}, "of a pipe"));
    EXPECT_THAT(takeCalls(),
                ElementsAre("Overlays1.AddImage(0, 'bottomleft', {})of a file",
                            "Overlays1.AddImage(0, 'top', {'Width': '200'})of a pipe"));
}

TEST_F(OverlayProgram, MovesAndRemoves) {
    serve();
    EXPECT_EQ(0, run({"move", "7", "bottom"}));
    EXPECT_EQ(0, run({"remove", "7", "8"}));
    EXPECT_EQ("", output);
    EXPECT_THAT(takeCalls(), ElementsAre("Overlays1.Move(7, 'bottom')", "Overlays1.Remove(7,)",
                                         "Overlays1.Remove(8,)"));
}

TEST_F(OverlayProgram, ListsALineForEachOverlay) {
    serve();
    EXPECT_EQ(0, run({"list"}));
    EXPECT_EQ(
        "7    camera 1  textoverlay    top              Gate 3\n"
        "12   camera 2  imageoverlay   -1.0000,0.5000   \n",
        output);
}

TEST_F(OverlayProgram, SetsAndClearsFaults) {
    serve();
    EXPECT_EQ(0, run({"fault", "getBuffer", "late", "--nth", "3", "--count", "0", "--milliseconds",
                      "1500"}));
    EXPECT_EQ(0, run({"fault", "clear"}));
    EXPECT_THAT(takeCalls(),
                ElementsAre("Faults1.Set('getBuffer', 'late', 3, 0, 1500)", "Faults1.Clear()"));
}

TEST_F(OverlayProgram, TakesStreamsAwayAndPutsThemBack) {
    serve();
    EXPECT_EQ(0, run({"stream", "remove", "3"}));
    EXPECT_EQ(0, run({"stream", "add", "3"}));
    EXPECT_THAT(takeCalls(), ElementsAre("Streams1.Remove(3,)", "Streams1.Add(3,)"));
}

TEST_F(OverlayProgram, PrintsTheNameOfAnErrorAndEndsWithStatus1) {
    serve();
    fail("com.orva.Host.Error.NotFound");
    EXPECT_EQ(1, run({"remove", "9"}));
    EXPECT_EQ("overlay: com.orva.Host.Error.NotFound: no such one\n", errors);
    EXPECT_EQ("", output);
}

TEST_F(OverlayProgram, WaitsForAServiceThatComesALittleLater) {
    std::thread later([this] {
        g_usleep(200000);
        serve();
    });
    EXPECT_EQ(0, run({"list"}));
    later.join();
}

TEST_F(OverlayProgram, SaysWhenTheServiceDoesNotCome) {
    EXPECT_EQ(1, run({"list"}));
    EXPECT_THAT(errors, StartsWith("overlay: org.freedesktop.DBus.Error.NameHasNoOwner: "));
}

TEST_F(OverlayProgram, SaysWhenThereIsNoBus) {
    bus.stop();
    EXPECT_EQ(1, run({"list"}));
    EXPECT_THAT(errors, StartsWith("overlay: "));
}

TEST_F(OverlayProgram, EndsWithStatus2ForWhatCannotBeSent) {
    serve();
    const std::string hint = "; overlay --help tells how\n";
    EXPECT_EQ(2, run({"burn"}));
    EXPECT_EQ("overlay: no command \"burn\"" + hint, errors);
    EXPECT_EQ(2, run({"image", "/nonexistent", "top"}));
    EXPECT_EQ("overlay: /nonexistent: No such file or directory" + hint, errors);
    EXPECT_EQ(2, run({"image", "/tmp/nonexistent", "top"}));
    EXPECT_THAT(errors, HasSubstr("inside the device"));
    EXPECT_EQ(2, run({"image", "-", "top"}, std::string((16 << 20) + 1, 'x')));
    EXPECT_EQ("overlay: -: longer than 16777216 bytes" + hint, errors);
    EXPECT_EQ(2, run({"image", "/", "top"}));
    EXPECT_EQ("overlay: /: Is a directory" + hint, errors);
    EXPECT_THAT(takeCalls(), IsEmpty());
}

TEST_F(OverlayProgram, TellsHowItIsUsed) {
    EXPECT_EQ(0, run({"--help"}));
    EXPECT_THAT(output, StartsWith("usage: overlay text"));
}

}  // namespace
