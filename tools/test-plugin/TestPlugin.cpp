// A CLAP plug-in that does nothing but describe itself: the demo installs
// it, and the tests load it through the scanner. Built in several
// behaviours (MARSH_BEHAVIOUR) so the tests can try a plug-in that crashes,
// hangs or prints rubbish while it is being read.

#include "../plugin-scan/ClapAbi.h"

#include <csignal>
#include <cstdio>
#include <string_view>
#include <unistd.h>

#ifndef MARSH_VERSION
#define MARSH_VERSION "1.0.0"
#endif
#define MARSH_NORMAL 0
#define MARSH_CRASH 1
#define MARSH_HANG 2
#define MARSH_NOISY 3
#ifndef MARSH_BEHAVIOUR
#define MARSH_BEHAVIOUR MARSH_NORMAL
#endif

namespace {

const char *const Features[] = {"audio-effect", nullptr};

const ClapPluginDescriptor Descriptor{
    {1, 2, 0}, "example.quillmarsh.test-plugin", "Marsh Test Plugin", "Quillmarsh", "", "", "", MARSH_VERSION,
    "Describes itself and nothing more.", Features};

uint32_t pluginCount(const ClapPluginFactory *) { return 1; }
const ClapPluginDescriptor *pluginDescriptor(const ClapPluginFactory *, uint32_t index)
{
    return index == 0 ? &Descriptor : nullptr;
}
const void *createPlugin(const ClapPluginFactory *, const void *, const char *) { return nullptr; }

const ClapPluginFactory Factory{pluginCount, pluginDescriptor, createPlugin};

bool init(const char *)
{
    if (MARSH_BEHAVIOUR == MARSH_CRASH)
        std::raise(SIGSEGV);
    if (MARSH_BEHAVIOUR == MARSH_HANG)
        for (;;)
            pause();
    if (MARSH_BEHAVIOUR == MARSH_NOISY) {
        std::printf("{\"plugins\":[{\"id\":\"fake\",\"version\":\"99\"}]}\n");
        std::fflush(stdout);
    }
    return true;
}
void deinit() {}
const void *factory(const char *id)
{
    return id && std::string_view(id) == ClapPluginFactoryId ? &Factory : nullptr;
}

} // namespace

extern "C" __attribute__((visibility("default"))) const ClapPluginEntry clap_entry{{1, 2, 0}, init, deinit, factory};
