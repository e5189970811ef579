#pragma once

// The few declarations of the CLAP plug-in ABI that reading descriptors
// needs. Debian ships no CLAP headers; the layout is the format's stable
// C ABI (version 1.x).

#include <cstdint>

extern "C" {

struct ClapVersion
{
    uint32_t major;
    uint32_t minor;
    uint32_t revision;
};

struct ClapPluginDescriptor
{
    ClapVersion clapVersion;
    const char *id;
    const char *name;
    const char *vendor;
    const char *url;
    const char *manualUrl;
    const char *supportUrl;
    const char *version;
    const char *description;
    const char *const *features;
};

struct ClapPluginFactory
{
    uint32_t (*getPluginCount)(const ClapPluginFactory *factory);
    const ClapPluginDescriptor *(*getPluginDescriptor)(const ClapPluginFactory *factory, uint32_t index);
    const void *(*createPlugin)(const ClapPluginFactory *factory, const void *host, const char *pluginId);
};

// The library exports one of these under the name "clap_entry".
struct ClapPluginEntry
{
    ClapVersion clapVersion;
    bool (*init)(const char *pluginPath);
    void (*deinit)();
    const void *(*getFactory)(const char *factoryId);
};

constexpr const char *ClapEntrySymbol = "clap_entry";
constexpr const char *ClapPluginFactoryId = "clap.plugin-factory";

} // extern "C"
