#include "video/overlay_service.h"

#include <fcntl.h>
#include <sys/mman.h>

#include "png_file.h"
#include "served_video.h"
#include "video/png_check.h"

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

constexpr const char* kOverlay = "com.orva.Overlay2.Overlay";
constexpr const char* kFirst = "/com/orva/Overlay2/Overlay/1";
constexpr const char* kDescription =
    "{'Camera': <1>, 'OverlayType': <'paletteoverlay'>, 'OverlayId': <1>, 'Position': "
    "<'-1.0000,-1.0000'>, 'Size': <'32x16'>, 'Scalable': <false>}";

class OverlayServiceTest : public ServedVideo {
protected:
    std::string remove(const char* path, const BusCaller& from) const {
        return from.call(kOverlay2, kOverlayPath, "com.orva.Overlay2.Factory", "RemoveOverlay",
                         g_variant_new("(o)", path));
    }
    std::string setProperties(const char* path, const char* dictionary,
                              const BusCaller& from) const {
        return from.call(kOverlay2, path, kOverlay, "SetProperties",
                         g_variant_new_parsed(dictionary));
    }
    std::string setVisible(const char* value) const {
        return client->call(kOverlay2, kFirst, kOverlay, "SetProperties",
                            g_variant_new_parsed("({'Visible': %s},)", value));
    }
    std::string get(const char* path, const char* property) const {
        return client->call(kOverlay2, path, "org.freedesktop.DBus.Properties", "Get",
                            g_variant_new("(ss)", kOverlay, property));
    }
    /// Calls from a process of its own; its output, and that to standard error.
    std::string callFromElsewhere(const std::string& path, const std::string& method,
                                  const std::string& argument) const {
        const std::string where = "unix:path=" + busPath();
        const char* arguments[] = {"gdbus",    "call",         "--address",      where.c_str(),
                                   "--dest",   kOverlay2,      "--object-path",  path.c_str(),
                                   "--method", method.c_str(), argument.c_str(), nullptr};
        g_autofree char* output = nullptr;
        g_autofree char* errors = nullptr;
        // Without libraries that are only for this process.
        g_auto(GStrv) environment = g_environ_unsetenv(g_get_environ(), "LD_LIBRARY_PATH");
        g_spawn_sync(nullptr, const_cast<char**>(arguments), environment, G_SPAWN_SEARCH_PATH,
                     nullptr, nullptr, &output, &errors, nullptr, nullptr);
        return std::string(output) + errors;
    }
    std::string busPath() const {
        const std::string where = g_getenv("DBUS_SYSTEM_BUS_ADDRESS");
        return where.substr(where.find('/'));
    }
    /// Asks for an overlay and waits for no reply; the bus has the call on return.
    void beginToCreate(const BusCaller& from) const {
        g_dbus_connection_call(from.get(), kOverlay2, kOverlayPath, "com.orva.Overlay2.Factory",
                               "CreateOverlay", properties(), nullptr, G_DBUS_CALL_FLAGS_NONE, -1,
                               nullptr, nullptr, nullptr);
        from.isOnBus(kOverlay2);
    }
    bool isGoneInTime() const {
        return waitFor([this] { return listOverlays() == nothing(); });
    }
};

TEST_F(OverlayServiceTest, MakesAnOverlayThatIsListedAndTellsOfIt) {
    const SignalRecord signals(*bus, kOverlay2);
    EXPECT_EQ(create(), "(objectpath '/com/orva/Overlay2/Overlay/1',)");
    EXPECT_EQ(listOverlays(), std::string("({objectpath '") + kFirst +
                                  "': {'com.orva.Overlay2.Overlay': " + kDescription + "}},)");
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 1; }));
    EXPECT_THAT(
        signals.get(),
        ElementsAre(std::string("/com/orva/Overlay2/Overlay InterfacesAdded (objectpath '") +
                    kFirst + "', {'com.orva.Overlay2.Overlay': " + kDescription + "})"));
}

TEST_F(OverlayServiceTest, TellsTheProperties) {
    create();
    EXPECT_EQ(get(kFirst, "OverlayId"), "(<1>,)");
    EXPECT_EQ(client->call(kOverlay2, kFirst, "org.freedesktop.DBus.Properties", "GetAll",
                           g_variant_new("(s)", kOverlay)),
              std::string("(") + kDescription + ",)");
    EXPECT_THAT(get(kFirst, "Colour"), StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_THAT(get("/com/orva/Overlay2/Overlay/2", "OverlayId"),
                StartsWith("org.freedesktop.DBus.Error.UnknownMethod"));
    EXPECT_THAT(client->call(kOverlay2, kFirst, "org.freedesktop.DBus.Properties", "Set",
                             g_variant_new("(ssv)", kOverlay, "Camera", g_variant_new_int32(2))),
                StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
}

TEST_F(OverlayServiceTest, RemovesAnOverlayAndTellsOfIt) {
    create();
    const SignalRecord signals(*bus, kOverlay2);
    EXPECT_EQ(remove(kFirst, *client), "()");
    EXPECT_EQ(listOverlays(), nothing());
    EXPECT_THAT(get(kFirst, "OverlayId"), StartsWith("org.freedesktop.DBus.Error.UnknownMethod"));
    EXPECT_EQ(remove(kFirst, *client),
              "com.orva.Host.Error.NotFound: there is no overlay /com/orva/Overlay2/Overlay/1");
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 1; }));
    EXPECT_THAT(signals.get(),
                ElementsAre(std::string("/com/orva/Overlay2/Overlay InterfacesRemoved (objectpath "
                                        "'") +
                            kFirst + "', ['com.orva.Overlay2.Overlay'])"));
}

TEST_F(OverlayServiceTest, FindsOnlyItsOwnPaths) {
    create();
    for (const char* path : {"/com/orva/Overlay2/Overlay/01", "/com/orva/Overlay2/Overlay",
                             "/com/orva/Overlay2/1", "/", "/1"}) {
        EXPECT_EQ(remove(path, *client),
                  std::string("com.orva.Host.Error.NotFound: there is no overlay ") + path);
    }
}

TEST_F(OverlayServiceTest, RefusesOverlaysThatMakeNoSense) {
    EXPECT_EQ(callFactory("CreateOverlay", g_variant_new_parsed("(@a{ss} {},)")),
              "com.orva.Host.Error.BadInput: the property OverlayFormat is missing");
    EXPECT_EQ(callFactory("CreateOverlay", properties("32x16", "99")),
              "com.orva.Host.Error.NotFound: there is no stream \"99\"");
    EXPECT_EQ(callFactory("CreateOverlay", properties("2000x16")),
              "com.orva.Host.Error.BadInput: the size 2000x16 is more than the stream's");
    EXPECT_THAT(callFactory("CreateOverlay", g_variant_new("(s)", "a")),
                StartsWith("org.freedesktop.DBus.Error.InvalidArgs"));
    EXPECT_EQ(listOverlays(), nothing());
}

TEST_F(OverlayServiceTest, MakesAnOverlayVisibleAndInvisible) {
    create();
    EXPECT_EQ(setVisible("false"), "()");
    EXPECT_FALSE(store.findPalette(1)->get().isVisible);
    EXPECT_EQ(setVisible("true"), "()");
    EXPECT_TRUE(store.findPalette(1)->get().isVisible);
    EXPECT_EQ(setVisible("1"), "com.orva.Host.Error.BadInput: Visible is true or false, not \"1\"");
    EXPECT_EQ(setProperties(kFirst, "({'Size': '16x16'},)", *client),
              "com.orva.Host.Error.BadInput: the property \"Size\" cannot be set");
    EXPECT_EQ(setProperties(kFirst, "(@a{ss} {},)", *client), "()");
}

TEST_F(OverlayServiceTest, KeepsAnOverlayFromOtherPrograms) {
    create();
    EXPECT_THAT(callFromElsewhere(kOverlayPath, "com.orva.Overlay2.Factory.RemoveOverlay", kFirst),
                HasSubstr("com.orva.Host.Error.NotOwner: overlay 1 is somebody else's"));
    EXPECT_THAT(callFromElsewhere(kFirst, "com.orva.Overlay2.Overlay.SetProperties",
                                  "{'Visible': 'false'}"),
                HasSubstr("com.orva.Host.Error.NotOwner: overlay 1 is somebody else's"));
    ASSERT_NE(store.findPalette(1), nullptr);
    EXPECT_TRUE(store.findPalette(1)->get().isVisible);
}

TEST_F(OverlayServiceTest, LetsAProgramUseAllItsConnections) {
    create();
    const BusCaller other(*bus);
    EXPECT_EQ(setProperties(kFirst, "({'Visible': 'false'},)", other), "()");
    EXPECT_EQ(remove(kFirst, other), "()");
}

TEST_F(OverlayServiceTest, RemovesWhatAClientMadeWhenItLeaves) {
    const SignalRecord signals(*bus, kOverlay2);
    std::optional<BusCaller> other(std::in_place, *bus);
    create(*other);
    create();
    create(*other);
    other.reset();
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 5; }));
    const std::vector<std::string> all = signals.get();
    EXPECT_THAT(all[3], HasSubstr("InterfacesRemoved (objectpath '/com/orva/Overlay2/Overlay/1'"));
    EXPECT_THAT(all[4], HasSubstr("InterfacesRemoved (objectpath '/com/orva/Overlay2/Overlay/3'"));
    EXPECT_THAT(listOverlays(), StartsWith("({objectpath '/com/orva/Overlay2/Overlay/2'"));
}

TEST_F(OverlayServiceTest, RemovesWhatAProgramMadeThatIsNotThereAnyMore) {
    EXPECT_THAT(callFromElsewhere(kOverlayPath, "com.orva.Overlay2.Factory.CreateOverlay",
                                  "{'Size': '32x16', 'Position': '-1,-1', 'OverlayFormat': "
                                  "'palette', 'Stream': '1', 'Camera': '1'}"),
                StartsWith("(objectpath"));
    EXPECT_TRUE(isGoneInTime());
}

TEST_F(OverlayServiceTest, TakesNoThousandsOfOverlays) {
    int made = 0;
    for (int number = 0; number < 1000; ++number) {
        made += create().starts_with("(objectpath") ? 1 : 0;
    }
    EXPECT_EQ(made, static_cast<int>(OverlayService::kMostPalettesOfAClient));
    EXPECT_EQ(create(), "com.orva.Host.Error.TooMany: there are too many overlays");
    std::vector<std::unique_ptr<BusCaller>> others;
    for (int number = 0; number < 5; ++number) {
        others.push_back(std::make_unique<BusCaller>(*bus));
        while (create(*others.back()).starts_with("(objectpath")) {
            ++made;
        }
    }
    EXPECT_EQ(made, static_cast<int>(OverlayService::kMostPalettes));
    client.reset();
    others.clear();
    client.emplace(*bus);
    EXPECT_TRUE(isGoneInTime());
    EXPECT_THAT(create(), StartsWith("(objectpath"));
}

TEST_F(OverlayServiceTest, SetsColours) {
    const auto setColor = [this](const char* index) {
        return client->call(kOverlay2, std::string("/com/orva/Overlay2/PaletteColor/") + index,
                            "com.orva.Overlay2.PaletteColor", "SetColor",
                            g_variant_new("(yyyyb)", 255, 1, 2, 155, FALSE));
    };
    EXPECT_EQ(setColor("0"), "()");
    EXPECT_EQ(setColor("15"), "()");
    EXPECT_THAT(setColor("16"), StartsWith("org.freedesktop.DBus.Error.UnknownMethod"));
    const Palette palette = store.getSnapshot(*table.find(1)).palette;
    EXPECT_EQ(palette[0], (PaletteColor{255, 1, 2, 155}));
    EXPECT_EQ(palette[15], (PaletteColor{255, 1, 2, 155}));
    EXPECT_EQ(palette[4], PaletteColor());
}

TEST_F(OverlayServiceTest, PutsUpATextAndTellsOfIt) {
    const SignalRecord signals(*bus, kOverlay2);
    EXPECT_EQ(addText("Gate 3", "top"), "(1,)");
    EXPECT_EQ(callHost("List", nullptr), "([(1, 1, 'textoverlay', 'top', 'Gate 3')],)");
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 1; }));
    EXPECT_THAT(signals.get(),
                ElementsAre("/com/orva/Overlay2/Overlay InterfacesAdded (objectpath "
                            "'/com/orva/Overlay2/Overlay/1', {'com.orva.Overlay2.Overlay': "
                            "{'Camera': <1>, 'OverlayType': <'textoverlay'>, 'OverlayId': <1>, "
                            "'Position': <'top'>, 'Size': <'0x40'>, 'Scalable': <true>}})"));
    ASSERT_EQ(store.getSnapshot(*table.find(1)).users.size(), 1U);
}

TEST_F(OverlayServiceTest, PutsUpAnImageOfADescriptor) {
    const std::string content = PngFile::make(40, 30);
    const FileDescriptor file(open(folder.write("a.png", content).c_str(), O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(callHost("AddImage",
                       g_variant_new_parsed("(@h 0, 'bottomleft', {'Camera': '2', 'Scalable': "
                                            "'false'})"),
                       file.get()),
              "(1,)");
    EXPECT_EQ(callHost("List", nullptr), "([(1, 2, 'imageoverlay', 'bottomleft', '')],)");
    EXPECT_EQ(get(kFirst, "Size"), "(<'40x30'>,)");
    EXPECT_EQ(get(kFirst, "Scalable"), "(<false>,)");
    const UserOverlay overlay = store.getSnapshot(*table.findNative(2, 0)).users.at(0);
    EXPECT_EQ(*overlay.imageFile, content);
}

TEST_F(OverlayServiceTest, RefusesWhatCannotBePutUp) {
    EXPECT_EQ(addText("", "top"), "com.orva.Host.Error.BadInput: the text is empty");
    EXPECT_THAT(addText("Gate 3", "up"),
                StartsWith("com.orva.Host.Error.BadInput: the position \"up\" is none of top,"));
    EXPECT_EQ(callHost("AddImage", g_variant_new_parsed("(@h 0, 'top', @a{ss} {})")),
              "com.orva.Host.Error.BadInput: the descriptor is missing");
    const FileDescriptor file(memfd_create("empty", MFD_CLOEXEC));
    EXPECT_EQ(callHost("AddImage", g_variant_new_parsed("(@h 7, 'top', @a{ss} {})"), file.get()),
              "com.orva.Host.Error.BadInput: the descriptor is missing");
    EXPECT_EQ(callHost("AddImage", g_variant_new_parsed("(@h 0, 'top', @a{ss} {})"), file.get()),
              "com.orva.Host.Error.BadInput: no PNG file");
    EXPECT_EQ(callHost("List", nullptr), "(@a(iisss) [],)");
}

TEST_F(OverlayServiceTest, QuotesNoMoreThanABitOfWhatIsWrong) {
    std::string megabyte = "x";
    while (megabyte.size() < 1 << 20) {
        megabyte += "\u00e4";
    }
    const std::string refused = addText("text", megabyte.c_str());
    EXPECT_THAT(refused, StartsWith("com.orva.Host.Error.BadInput: the position \"x\u00e4"));
    EXPECT_THAT(refused, testing::EndsWith("\u00e4..."));
    EXPECT_LT(refused.size(), 600u);
    EXPECT_EQ(listOverlays(), nothing());
}

TEST_F(OverlayServiceTest, MovesAnOverlayAndTellsOfIt) {
    addText("Gate 3", "top");
    const SignalRecord signals(*bus, kOverlay2);
    EXPECT_EQ(callHost("Move", g_variant_new("(is)", 1, "0.5,0.9")), "()");
    EXPECT_EQ(get(kFirst, "Position"), "(<'0.5,0.9'>,)");
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 1; }));
    EXPECT_THAT(signals.get(),
                ElementsAre(std::string(kFirst) +
                            " PropertiesChanged ('com.orva.Overlay2.Overlay', {'Position': "
                            "<'0.5,0.9'>, 'Size': <'0x40'>}, @as [])"));
    EXPECT_THAT(callHost("Move", g_variant_new("(is)", 1, "up")),
                StartsWith("com.orva.Host.Error.BadInput: the position \"up\""));
    EXPECT_EQ(get(kFirst, "Position"), "(<'0.5,0.9'>,)");
}

TEST_F(OverlayServiceTest, RemovesWhatAPersonPutUp) {
    addText("Gate 3", "top");
    const SignalRecord signals(*bus, kOverlay2);
    EXPECT_EQ(callHost("Remove", g_variant_new("(i)", 1)), "()");
    EXPECT_EQ(callHost("List", nullptr), "(@a(iisss) [],)");
    ASSERT_TRUE(waitFor([&] { return signals.get().size() == 1; }));
    EXPECT_THAT(signals.get()[0], HasSubstr("InterfacesRemoved"));
    EXPECT_TRUE(files.load(2).overlays.empty());
}

TEST_F(OverlayServiceTest, LetsPersonsAndApplicationsOnlyHaveTheirOwn) {
    create();
    addText("Gate 3", "top");
    constexpr const char* kText = "/com/orva/Overlay2/Overlay/2";
    EXPECT_EQ(callHost("Remove", g_variant_new("(i)", 1)),
              "com.orva.Host.Error.NotFound: there is no text or image overlay 1");
    EXPECT_EQ(callHost("Move", g_variant_new("(is)", 3, "top")),
              "com.orva.Host.Error.NotFound: there is no text or image overlay 3");
    EXPECT_EQ(remove(kText, *client), "com.orva.Host.Error.NotOwner: overlay 2 is somebody else's");
    EXPECT_EQ(setProperties(kText, "({'Visible': 'false'},)", *client),
              "com.orva.Host.Error.NotOwner: overlay 2 is somebody else's");
}

TEST_F(OverlayServiceTest, TakesNoMoreTextsThanItCanShow) {
    for (std::size_t number = 0; number < OverlayService::kMostUsers; ++number) {
        ASSERT_THAT(addText("Gate 3", "top"), StartsWith("("));
    }
    EXPECT_EQ(addText("Gate 3", "top"), "com.orva.Host.Error.TooMany: there are too many overlays");
}

TEST_F(OverlayServiceTest, TakesNoMoreImagesThanItCanHold) {
    // Eight of the greatest size fill the room but for a few bytes.
    const std::string bare = PngFile::make(1, 1);
    const std::string head = PngFile::kSignature + PngFile::header(1, 1);
    const std::string large =
        head + PngFile::chunk("teXt", std::string(PngCheck::kMostBytes - bare.size() - 12, 'a')) +
        bare.substr(head.size());
    const auto add = [this](const std::string& content) {
        const FileDescriptor file(
            open(folder.write("a.png", content).c_str(), O_RDONLY | O_CLOEXEC));
        return callHost("AddImage", g_variant_new_parsed("(@h 0, 'top', @a{ss} {})"), file.get());
    };
    for (int number = 1; number <= 8; ++number) {
        ASSERT_EQ(add(large), "(" + std::to_string(number) + ",)");
    }
    EXPECT_EQ(add(bare), "com.orva.Host.Error.TooMany: all images together are too large");
    EXPECT_EQ(addText("Gate 3", "top"), "(9,)");
}

TEST_F(OverlayServiceTest, KeepsWhatPersonsPutUp) {
    addText("Gate 3", "top");
    callHost("Move", g_variant_new("(is)", 1, "bottom"));
    const std::vector<UserOverlay> kept = files.load(2).overlays;
    ASSERT_EQ(kept.size(), 1U);
    EXPECT_EQ(kept[0].position, "bottom");
}

TEST_F(OverlayServiceTest, PutsNothingUpThatItCannotKeep) {
    folder.write("overlays", "a file in the way");
    EXPECT_THAT(addText("Gate 3", "top"), StartsWith("com.orva.Host.Error.Failed: "));
    EXPECT_EQ(listOverlays(), nothing());
}

TEST_F(OverlayServiceTest, IsToldToMisbehave) {
    EXPECT_EQ(setFault("CreateOverlay", "error"), "()");
    EXPECT_EQ(create(), "com.orva.Host.Error.Failed: told to");
    EXPECT_EQ(listOverlays(), nothing());
    setFault("CreateOverlay", "wrong");
    EXPECT_EQ(create(), "('wrong',)");
    setFault("CreateOverlay", "empty");
    EXPECT_EQ(create(), "()");
    EXPECT_EQ(listOverlays(), nothing());
    EXPECT_EQ(create(), "(objectpath '/com/orva/Overlay2/Overlay/1',)");
}

TEST_F(OverlayServiceTest, MisbehavesInEveryMethodOfApplications) {
    create();
    const auto callAll = [this] {
        return std::vector<std::string>{
            create(),
            get(kFirst, "OverlayId"),
            setVisible("true"),
            listOverlays(),
            client->call(kOverlay2, "/com/orva/Overlay2/PaletteColor/4",
                         "com.orva.Overlay2.PaletteColor", "SetColor",
                         g_variant_new("(yyyyb)", 255, 0, 0, 155, FALSE)),
            remove("/com/orva/Overlay2/Overlay/2", *client)};
    };
    const char* methods[] = {"CreateOverlay",     "Get",      "SetProperties",
                             "GetManagedObjects", "SetColor", "RemoveOverlay"};
    for (const char* method : methods) {
        setFault(method, "wrong");
    }
    EXPECT_THAT(callAll(), testing::Each("('wrong',)"));
    client->call(kOverlay2, kOverlayPath, "com.orva.Host.Faults1", "Set",
                 g_variant_new("(ssuuu)", "any", "error", 2, 3, 0));
    const std::vector<std::string> answers = callAll();
    EXPECT_THAT(answers[0], StartsWith("(objectpath"));
    for (const std::size_t place : {1, 2, 3}) {
        EXPECT_EQ(answers[place], "com.orva.Host.Error.Failed: told to");
    }
    EXPECT_EQ(answers[4], "()");
    EXPECT_EQ(answers[5], "()");
}

TEST_F(OverlayServiceTest, BehavesAgainWhenTold) {
    setFault("CreateOverlay", "error", 1, 0);
    EXPECT_EQ(create(), "com.orva.Host.Error.Failed: told to");
    EXPECT_EQ(client->call(kOverlay2, kOverlayPath, "com.orva.Host.Faults1", "Clear"), "()");
    EXPECT_THAT(create(), StartsWith("(objectpath"));
    EXPECT_EQ(setFault("CreateOverlay", "toosmall"),
              "com.orva.Host.Error.BadInput: \"toosmall\" makes no sense for CreateOverlay");
}

TEST_F(OverlayServiceTest, AnswersLateWhenToldToAndOthersAtOnce) {
    setFault("CreateOverlay", "late", 1, 1, 60000);
    const BusCaller other(*bus);
    const BusCaller waiting(*bus);
    beginToCreate(waiting);
    EXPECT_THAT(create(other), StartsWith("(objectpath"));
}

TEST_F(OverlayServiceTest, DoesLateWhatItWasAsked) {
    setFault("CreateOverlay", "late", 1, 1, 50);
    const gint64 begin = g_get_monotonic_time();
    EXPECT_EQ(create(), "(objectpath '/com/orva/Overlay2/Overlay/1',)");
    EXPECT_GE(g_get_monotonic_time() - begin, 50000);
}

TEST_F(OverlayServiceTest, DoesNothingLateForAClientThatHasLeft) {
    setFault("CreateOverlay", "late", 1, 1, 100);
    std::optional<BusCaller> other(std::in_place, *bus);
    beginToCreate(*other);
    other.reset();
    const SignalRecord signals(*bus, kOverlay2);
    setFault("SetColor", "late", 1, 1, 200);
    client->call(kOverlay2, "/com/orva/Overlay2/PaletteColor/4", "com.orva.Overlay2.PaletteColor",
                 "SetColor", g_variant_new("(yyyyb)", 255, 0, 0, 155, FALSE));
    EXPECT_THAT(signals.get(), IsEmpty());
    EXPECT_EQ(listOverlays(), nothing());
}

}  // namespace
