// Reads the descriptors of one plug-in and prints them as JSON on standard
// output. The hub runs it as a child process, because loading a plug-in
// runs the plug-in's own code: a crash, a hang or a stray write must not
// reach the hub.
//
//   quillmarsh-hub-plugin-scan clap FILE      a CLAP shared object
//   quillmarsh-hub-plugin-scan lv2 BUNDLE     an LV2 bundle folder, through lilv
//
// Output: {"plugins":[{"id":"...","version":"..."}, ...]}; "version" is
// null when the plug-in states none. Exit status 0 when the output was
// written, 1 when the plug-in could not be read, 2 for a usage error.

#include "ClapAbi.h"

#include <lilv/lilv.h>

#include <dlfcn.h>
#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

namespace {

struct Plugin
{
    std::string id;
    std::optional<std::string> version;
};

constexpr size_t MaximumPlugins = 256;
constexpr size_t MaximumText = 1024;

std::string jsonString(const std::string &text)
{
    std::string out = "\"";
    for (const unsigned char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
            out += char(c);
        } else if (c < 0x20) {
            char escape[8];
            std::snprintf(escape, sizeof escape, "\\u%04x", c);
            out += escape;
        } else {
            out += char(c);
        }
    }
    return out + '"';
}

// At most MaximumText bytes of a C string a plug-in handed us.
std::optional<std::string> text(const char *value)
{
    if (!value)
        return std::nullopt;
    return std::string(value, strnlen(value, MaximumText));
}

bool readClap(const char *path, std::vector<Plugin> &plugins)
{
    void *library = dlopen(path, RTLD_NOW | RTLD_LOCAL);
    if (!library)
        return false;
    const auto *entry = static_cast<const ClapPluginEntry *>(dlsym(library, ClapEntrySymbol));
    if (!entry || entry->clapVersion.major < 1 || !entry->init || !entry->getFactory || !entry->init(path))
        return false;
    const auto *factory = static_cast<const ClapPluginFactory *>(entry->getFactory(ClapPluginFactoryId));
    if (factory && factory->getPluginCount && factory->getPluginDescriptor) {
        const uint32_t count = factory->getPluginCount(factory);
        for (uint32_t i = 0; i < count && plugins.size() < MaximumPlugins; ++i) {
            const ClapPluginDescriptor *descriptor = factory->getPluginDescriptor(factory, i);
            if (descriptor && descriptor->id)
                plugins.push_back({*text(descriptor->id), text(descriptor->version)});
        }
    }
    if (entry->deinit)
        entry->deinit();
    // The library stays loaded: unloading runs more of its code for nothing.
    return factory != nullptr;
}

bool readLv2(const char *bundlePath, std::vector<Plugin> &plugins)
{
    std::string path = bundlePath;
    if (path.empty() || path.back() != '/')
        path += '/';
    LilvWorld *world = lilv_world_new();
    LilvNode *bundle = lilv_new_file_uri(world, nullptr, path.c_str());
    if (!bundle)
        return false;
    // Only this bundle: nothing from LV2_PATH or the system.
    lilv_world_load_bundle(world, bundle);
    LilvNode *release = lilv_new_uri(world, "http://usefulinc.com/ns/doap#release");
    LilvNode *revision = lilv_new_uri(world, "http://usefulinc.com/ns/doap#revision");
    const LilvPlugins *all = lilv_world_get_all_plugins(world);
    LILV_FOREACH (plugins, i, all) {
        if (plugins.size() >= MaximumPlugins)
            break;
        const LilvPlugin *plugin = lilv_plugins_get(all, i);
        Plugin found{*text(lilv_node_as_uri(lilv_plugin_get_uri(plugin))), std::nullopt};
        LilvNodes *releases = lilv_plugin_get_value(plugin, release);
        LILV_FOREACH (nodes, r, releases) {
            LilvNode *value = lilv_world_get(world, lilv_nodes_get(releases, r), revision, nullptr);
            if (value && lilv_node_is_literal(value))
                found.version = text(lilv_node_as_string(value));
            lilv_node_free(value);
            if (found.version)
                break;
        }
        lilv_nodes_free(releases);
        plugins.push_back(std::move(found));
    }
    lilv_node_free(revision);
    lilv_node_free(release);
    lilv_node_free(bundle);
    lilv_world_free(world);
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 3 || (std::strcmp(argv[1], "clap") != 0 && std::strcmp(argv[1], "lv2") != 0)) {
        std::fputs("usage: quillmarsh-hub-plugin-scan clap FILE | lv2 BUNDLE\n", stderr);
        return 2;
    }
    // Whatever the plug-in prints goes nowhere; our answer goes to the
    // standard output we were given.
    const int answer = dup(STDOUT_FILENO);
    const int nowhere = open("/dev/null", O_WRONLY | O_CLOEXEC);
    if (answer < 0 || nowhere < 0 || dup2(nowhere, STDOUT_FILENO) < 0)
        return 1;
    fcntl(answer, F_SETFD, FD_CLOEXEC);

    std::vector<Plugin> plugins;
    const bool read = std::strcmp(argv[1], "clap") == 0 ? readClap(argv[2], plugins) : readLv2(argv[2], plugins);
    if (!read)
        return 1;

    std::string json = "{\"plugins\":[";
    for (size_t i = 0; i < plugins.size(); ++i) {
        json += (i ? ",{\"id\":" : "{\"id\":") + jsonString(plugins[i].id) + ",\"version\":"
            + (plugins[i].version ? jsonString(*plugins[i].version) : std::string("null")) + "}";
    }
    json += "]}\n";
    const char *data = json.data();
    size_t left = json.size();
    while (left > 0) {
        const ssize_t written = write(answer, data, left);
        if (written <= 0)
            return 1;
        data += written;
        left -= size_t(written);
    }
    // Plug-ins' static destructors are not ours to run.
    _exit(0);
}
