#include "device/dbus_utils.h"

#include <dlfcn.h>
#include <fcntl.h>
#include <gio/gunixfdlist.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <stdexcept>

#include "support/bus_service.h"
#include "support/private_bus.h"

namespace {

std::atomic<bool> failingDuplications{false};

}  // namespace

/// Stands before GLib's own, to let it fail.
extern "C" gint g_unix_fd_list_get(GUnixFDList* list, gint index, GError** error) {
    if (failingDuplications) {
        g_set_error_literal(error, G_IO_ERROR, G_IO_ERROR_TOO_MANY_OPEN_FILES,
                            "too many open files");
        return -1;
    }
    static const auto original =
        reinterpret_cast<decltype(&g_unix_fd_list_get)>(dlsym(RTLD_NEXT, "g_unix_fd_list_get"));
    return original(list, index, error);
}

namespace {

using testing::StartsWith;

constexpr const char* kName = "com.example.Service";
constexpr const char* kPath = "/com/example/Service";
constexpr const char* kInterface = "com.example.Service1";

constexpr const char* kIntrospection = R"(
<node><interface name="com.example.Service1">
  <method name="Echo"><arg type="s" direction="in"/><arg type="s" direction="out"/></method>
  <method name="Nothing"/>
  <method name="Fail"/>
  <method name="Descriptor"><arg type="h" direction="out"/></method>
  <method name="NegativeIndex"><arg type="h" direction="out"/></method>
  <method name="IndexTooHigh"><arg type="h" direction="out"/></method>
  <method name="IndexWithoutList"><arg type="h" direction="out"/></method>
  <method name="Text"><arg type="s" direction="out"/></method>
</interface></node>)";

/// The service that is called.
class Service {
public:
    explicit Service(const PrivateBus& bus) : service(bus, kName, serve) {}

private:
    static void serve(GDBusConnection* connection) {
        g_autoptr(GDBusNodeInfo) node = g_dbus_node_info_new_for_xml(kIntrospection, nullptr);
        const GDBusInterfaceVTable table = {handle, nullptr, nullptr, {}};
        g_dbus_connection_register_object(connection, kPath, node->interfaces[0], &table, nullptr,
                                          nullptr, nullptr);
    }

    static void handle(GDBusConnection*, const char*, const char*, const char*, const char* name,
                       GVariant* parameters, GDBusMethodInvocation* call, void*) {
        const std::string method = name;
        g_autoptr(GUnixFDList) list = g_unix_fd_list_new();
        if (method == "Fail") {
            g_dbus_method_invocation_return_dbus_error(call, "com.example.Error", "it failed");
        } else if (method == "Echo") {
            g_dbus_method_invocation_return_value(call, parameters);
        } else if (method == "Text") {
            g_dbus_method_invocation_return_value(call, g_variant_new("(s)", "text"));
        } else if (method == "Nothing") {
            g_dbus_method_invocation_return_value(call, nullptr);
        } else if (method == "IndexWithoutList") {
            g_dbus_method_invocation_return_value(call, g_variant_new("(h)", 0));
        } else {
            const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
            g_unix_fd_list_append(list, descriptor, nullptr);
            close(descriptor);
            const int index = method == "Descriptor" ? 0 : method == "NegativeIndex" ? -1 : 1;
            g_dbus_method_invocation_return_value_with_unix_fd_list(
                call, g_variant_new("(h)", index), list);
        }
    }

    BusService service;
};

class DBusUtilsTest : public testing::Test {
protected:
    DBusUtilsTest()
        : proxy(DBusUtils::createProxy(kName, kPath, kInterface, "No proxy",
                                       G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES)) {}
    ~DBusUtilsTest() override { g_object_unref(proxy); }

    /// What the function's runtime_error says; empty when it throws none.
    template <typename Function>
    static std::string failureOf(Function function) {
        try {
            function();
        } catch (const std::runtime_error& failure) {
            return failure.what();
        }
        return {};
    }
    std::string descriptorFailure(const char* method) {
        return failureOf([&] { DBusUtils::getFileDescriptor(proxy, method, "No descriptor"); });
    }

    PrivateBus bus;
    Service service{bus};
    GDBusProxy* proxy;
};

TEST_F(DBusUtilsTest, MakesAProxyForANameAPathAndAnInterface) {
    EXPECT_STREQ(g_dbus_proxy_get_name(proxy), kName);
    EXPECT_STREQ(g_dbus_proxy_get_object_path(proxy), kPath);
    EXPECT_STREQ(g_dbus_proxy_get_interface_name(proxy), kInterface);
    EXPECT_EQ(g_dbus_proxy_get_flags(proxy), G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
    EXPECT_EQ(g_dbus_proxy_get_interface_info(proxy), nullptr);
}

TEST_F(DBusUtilsTest, DoesNotEndTheProcessWithTheBus) {
    EXPECT_FALSE(g_dbus_connection_get_exit_on_close(g_dbus_proxy_get_connection(proxy)));
}

TEST_F(DBusUtilsTest, MakesAProxyOnAConnectionOfTheCaller) {
    GDBusConnection* connection = bus.connect();
    GDBusProxy* other = DBusUtils::createProxy(connection, kName, kPath, kInterface, "No proxy",
                                               G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
    EXPECT_EQ(g_dbus_proxy_get_connection(other), connection);
    EXPECT_STREQ(g_dbus_proxy_get_name(other), kName);
    EXPECT_EQ(failureOf([connection] {
                  DBusUtils::createProxy(connection, kName, "no path", kInterface, "The proxy",
                                         G_DBUS_PROXY_FLAGS_NONE);
              }),
              "The proxy: Pointer was unexpectedly NULL");
    g_object_unref(other);
    g_dbus_connection_close_sync(connection, nullptr, nullptr);
    g_object_unref(connection);
}

TEST_F(DBusUtilsTest, CallsAMethodWithItsParameters) {
    g_autoptr(GVariant) reply =
        DBusUtils::callSync(proxy, "Echo", g_variant_new("(s)", "hello"), "No echo", true);
    const char* text = nullptr;
    g_variant_get(reply, "(&s)", &text);
    EXPECT_STREQ(text, "hello");
}

TEST_F(DBusUtilsTest, CallsAMethodWithoutAnything) {
    g_autoptr(GVariant) reply = DBusUtils::callSync(proxy, "Nothing", nullptr, "Failed", true);
    EXPECT_EQ(g_variant_n_children(reply), 0U);
}

TEST_F(DBusUtilsTest, FailsACallWithTheTextAndTheErrorsMessage) {
    const std::string failure = "The call: GDBus.Error:com.example.Error: it failed\n";
    for (const bool needsReply : {false, true}) {
        EXPECT_EQ(
            failureOf([&] { DBusUtils::callSync(proxy, "Fail", nullptr, "The call", needsReply); }),
            failure);
    }
}

/// GLib refuses such a name without an error.
constexpr const char* kNoMethodName = "not a name";

TEST_F(DBusUtilsTest, FailsACallWithoutReplyAndErrorOnlyIfAReplyIsNeeded) {
    EXPECT_EQ(DBusUtils::callSync(proxy, kNoMethodName, nullptr, "The call", false), nullptr);
    EXPECT_EQ(
        failureOf([&] { DBusUtils::callSync(proxy, kNoMethodName, nullptr, "The call", true); }),
        "The call: Pointer was unexpectedly NULL");
}

TEST_F(DBusUtilsTest, FailsAProxyWithoutAnError) {
    EXPECT_EQ(failureOf([] {
                  DBusUtils::createProxy(kName, "no path", kInterface, "The proxy",
                                         G_DBUS_PROXY_FLAGS_NONE);
              }),
              "The proxy: Pointer was unexpectedly NULL");
}

TEST_F(DBusUtilsTest, HandsOutADescriptor) {
    const int descriptor = DBusUtils::getFileDescriptor(proxy, "Descriptor", "No descriptor");
    ASSERT_GE(descriptor, 0);
    struct stat opened {};
    struct stat expected {};
    fstat(descriptor, &opened);
    stat("/dev/null", &expected);
    EXPECT_EQ(opened.st_rdev, expected.st_rdev);
    EXPECT_EQ(close(descriptor), 0);
}

TEST_F(DBusUtilsTest, FailsADescriptorWhenTheCallFails) {
    EXPECT_EQ(descriptorFailure("Fail"),
              "No descriptor: Failed to get command channel: GDBus.Error:com.example.Error: it "
              "failed\n");
}

TEST_F(DBusUtilsTest, FailsADescriptorWithoutOneInTheReply) {
    const std::string failure =
        "No descriptor: Failed to get command channel: Pointer was unexpectedly NULL";
    EXPECT_EQ(descriptorFailure("Nothing"), failure);
    EXPECT_EQ(descriptorFailure("Text"), failure);
    EXPECT_EQ(descriptorFailure(kNoMethodName), failure);
}

TEST_F(DBusUtilsTest, FailsADescriptorWithANegativeIndex) {
    EXPECT_EQ(descriptorFailure("NegativeIndex"), "No descriptor: Failed to get index of FD list");
}

TEST_F(DBusUtilsTest, FailsADescriptorThatIsNotInTheList) {
    EXPECT_EQ(descriptorFailure("IndexTooHigh"), "No descriptor: Invalid file descriptor");
    EXPECT_EQ(descriptorFailure("IndexWithoutList"), "No descriptor: Invalid file descriptor");
}

TEST_F(DBusUtilsTest, FailsADescriptorThatCannotBeDuplicatedWithTheErrorsMessage) {
    failingDuplications = true;
    EXPECT_EQ(descriptorFailure("Descriptor"),
              "No descriptor: Invalid file descriptor: too many open files\n");
    failingDuplications = false;
    const int descriptor = DBusUtils::getFileDescriptor(proxy, "Descriptor", "No descriptor");
    EXPECT_EQ(close(descriptor), 0);
}

TEST_F(DBusUtilsTest, ReachesABusThatHasComeBack) {
    PrivateBus another;
    const Service serviceThere(another);
    // The fixture's proxy still holds the shared connection to the bus that ends now.
    bus.stop();
    GDBusConnection* shared = g_dbus_proxy_get_connection(proxy);
    while (g_dbus_connection_is_closed(shared) == FALSE) {
        g_main_context_iteration(nullptr, TRUE);
    }
    g_autoptr(GDBusProxy) fresh = DBusUtils::createProxy(kName, kPath, kInterface, "No proxy",
                                                         G_DBUS_PROXY_FLAGS_DO_NOT_LOAD_PROPERTIES);
    g_autoptr(GVariant) reply = DBusUtils::callSync(fresh, "Text", nullptr, "No text", true);
    EXPECT_STREQ(g_variant_get_type_string(reply), "(s)");
    EXPECT_FALSE(g_dbus_connection_get_exit_on_close(g_dbus_proxy_get_connection(fresh)));
}

TEST(DBusUtilsWithoutABus, FailAProxyWithTheErrorsMessage) {
    PrivateBus bus;
    bus.stop();
    std::string text;
    try {
        DBusUtils::createProxy(kName, kPath, kInterface, "The proxy", G_DBUS_PROXY_FLAGS_NONE);
    } catch (const std::runtime_error& failure) {
        text = failure.what();
    }
    EXPECT_THAT(text, StartsWith("The proxy: Could not connect: "));
    EXPECT_EQ(text.back(), '\n');
}

}  // namespace
