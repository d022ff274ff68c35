#include <glib.h>

#include <cstdio>
#include <exception>
#include <string>

#include "analytics/rules_client.h"
#include "analytics/rules_options.h"
#include "analytics/stream_size.h"
#include "analytics/xml_text.h"
#include "command/command_line.h"
#include "command/usage_error.h"

namespace {

using Command = RulesOptions::Command;

constexpr int kRefused = 1;
constexpr int kBadUsage = 2;

// A device that has just come up registers its rules a moment later.
constexpr double kPatience = 5.0;  // seconds

// The bus takes messages of up to 16 MiB; the rest is for what stands around the text.
constexpr std::size_t kGreatestText = 16 * 1024 * 1024 - 4096;

std::string read(const std::string& path) {
    std::string text = CommandLine::readFile(path, kGreatestText);
    CommandLine::requireUtf8(path + ":", text);
    return text;
}

void printTypes(RulesClient& client, std::string RuleProvider::*text) {
    for (const RuleProvider& provider : client.providers(kPatience)) {
        std::fputs(XmlText::indented(provider.*text).c_str(), stdout);
    }
}

void list(RulesClient& client, const RulesOptions& options) {
    const RuleProvider provider = client.providers(kPatience).front();
    const auto [width, height] = StreamSize::of(options);
    g_autoptr(GVariant) reply = client.call(
        provider, "GetRules",
        g_variant_new("(iiii)", options.source, width, height, options.rotation), "(s)");
    const char* rules = nullptr;
    g_variant_get(reply, "(&s)", &rules);
    std::puts(rules);
}

void change(RulesClient& client, const RulesOptions& options, const char* method) {
    const std::string text = read(options.file);
    const RuleProvider provider = client.providers(kPatience).front();
    const auto [width, height] = StreamSize::of(options);
    g_autoptr(GVariant) reply = client.call(
        provider, method,
        g_variant_new("(iiiis)", options.source, width, height, options.rotation, text.c_str()),
        "()");
}

void remove(RulesClient& client, const RulesOptions& options) {
    const RuleProvider provider = client.providers(kPatience).front();
    GVariantBuilder names;
    g_variant_builder_init(&names, G_VARIANT_TYPE("as"));
    for (const std::string& name : options.names) {
        g_variant_builder_add(&names, "s", name.c_str());
    }
    g_autoptr(GVariant) reply =
        client.call(provider, "DeleteRules", g_variant_new("(ias)", options.source, &names), "()");
}

void run(const RulesOptions& options) {
    if (options.command == Command::Help) {
        std::fputs(RulesOptions::help(), stdout);
        return;
    }
    RulesClient client;
    switch (options.command) {
        case Command::Help:
            break;
        case Command::List:
            list(client, options);
            break;
        case Command::Types:
            printTypes(client, &RuleProvider::description);
            break;
        case Command::Options:
            printTypes(client, &RuleProvider::options);
            break;
        case Command::Create:
            change(client, options, "CreateRules");
            break;
        case Command::Modify:
            change(client, options, "ModifyRules");
            break;
        case Command::Delete:
            remove(client, options);
            break;
    }
}

}  // namespace

int main(int argc, char** argv) {
    try {
        run(RulesOptions::parse({argv + 1, argv + argc}));
    } catch (const UsageError& error) {
        std::fprintf(stderr, "rules: %s; rules --help tells how\n", error.what());
        return kBadUsage;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "rules: %s\n", error.what());
        return kRefused;
    }
    return std::fflush(stdout) == 0 ? 0 : kRefused;
}
