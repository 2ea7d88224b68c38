// SPDX-License-Identifier: Apache-2.0
#include "SystemSetup.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <string_view>
#include <utility>

#include "CaptureDirectory.h"
#include "PngFilter.h"
#include "UsbAutoAdd.h"

namespace {

constexpr const char* kName = "korvo-printer-app";
constexpr int kDefaultPort = 8631;

struct NamedBit {
    const char* name;
    unsigned bit;
};

constexpr std::array<NamedBit, 8> kServerOptions = {{
    {"web-remote", PAPPL_SOPTIONS_WEB_REMOTE},
    {"web-security", PAPPL_SOPTIONS_WEB_SECURITY},
    {"web-log", PAPPL_SOPTIONS_WEB_LOG},
    {"web-network", PAPPL_SOPTIONS_WEB_NETWORK},
    {"web-tls", PAPPL_SOPTIONS_WEB_TLS},
    {"raw-socket", PAPPL_SOPTIONS_RAW_SOCKET},
    {"dnssd-host", PAPPL_SOPTIONS_DNSSD_HOST},
    {"no-tls", PAPPL_SOPTIONS_NO_TLS},
}};

constexpr std::array<std::pair<const char*, pappl_loglevel_t>, 5> kLogLevels = {{
    {"debug", PAPPL_LOGLEVEL_DEBUG},
    {"info", PAPPL_LOGLEVEL_INFO},
    {"warn", PAPPL_LOGLEVEL_WARN},
    {"error", PAPPL_LOGLEVEL_ERROR},
    {"fatal", PAPPL_LOGLEVEL_FATAL},
}};

class Options {
public:
    Options(int count, cups_option_t* options) : count_(count), options_(options) {}

    const char* get(const char* name, const char* fallback = nullptr) const
    {
        const char* value = cupsGetOption(name, count_, options_);
        return value != nullptr ? value : fallback;
    }

private:
    int count_;
    cups_option_t* options_;
};

pappl_soptions_t systemOptions(const char* list)
{
    pappl_soptions_t bits = PAPPL_SOPTIONS_MULTI_QUEUE | PAPPL_SOPTIONS_WEB_INTERFACE;
    const std::string_view text = list != nullptr ? list : "";
    for (size_t start = 0; start < text.size();) {
        const size_t end = std::min(text.find(',', start), text.size());
        for (const NamedBit& option : kServerOptions) {
            bits |= text.substr(start, end - start) == option.name ? option.bit : 0;
        }
        start = end + 1;
    }
    return bits;
}

pappl_loglevel_t logLevel(const char* name)
{
    for (const auto& [levelName, level] : kLogLevels) {
        if (strcmp(levelName, name) == 0) {
            return level;
        }
    }
    return PAPPL_LOGLEVEL_INFO;
}

std::string defaultStateFile()
{
    if (getuid() == 0) {
        return std::string("/var/lib/") + kName + ".state";
    }
    const char* config = getenv("XDG_CONFIG_HOME");
    const char* home = getenv("HOME");
    const std::string directory =
        config != nullptr ? config : std::string(home != nullptr ? home : "/tmp") + "/.config";
    return directory + "/" + kName + ".state";
}

const char* defaultSpoolDirectory()
{
    static const std::string root = std::string("/var/spool/") + kName;
    return getuid() == 0 ? root.c_str() : nullptr;
}

std::string& stateFile()
{
    static std::string path;
    return path;
}

bool saveState(pappl_system_t* system, void*)
{
    return papplSystemSaveState(system, stateFile().c_str());
}

}  // namespace

pappl_system_t* korvoSystem(int optionCount, cups_option_t* options, void* context)
{
    const bool serving = *static_cast<const bool*>(context);
    if (!serving) {
        // PAPPL's main loop makes a system to list the drivers: no
        // listeners, no log, no state.
        return papplSystemCreate(PAPPL_SOPTIONS_MULTI_QUEUE, "Korvo Printer Application", 0, nullptr, nullptr,
                                 "/dev/null", PAPPL_LOGLEVEL_FATAL, nullptr, false);
    }
    const Options option(optionCount, options);
    const char* port = option.get("server-port");
    const char* spool = option.get("spool-directory", defaultSpoolDirectory());
    pappl_system_t* system = papplSystemCreate(systemOptions(option.get("server-options")), "Korvo Printer Application",
                                               port != nullptr ? atoi(port) : kDefaultPort, "_print,_universal", spool,
                                               option.get("log-file", "-"), logLevel(option.get("log-level", "info")),
                                               option.get("auth-service"), false);
    if (system == nullptr) {
        return nullptr;
    }
    const std::string listen = option.get("listen-hostname", "localhost");
    if (!papplSystemAddListeners(system, listen == "*" ? nullptr : listen.c_str())) {
        papplSystemDelete(system);
        return nullptr;
    }
    if (const char* hostname = option.get("server-hostname")) {
        papplSystemSetHostName(system, hostname);
    }
    if (const char* group = option.get("admin-group")) {
        papplSystemSetAdminGroup(system, group);
    }
    // PAPPL's web pages look their footer up in the translations and need
    // one.
    papplSystemSetFooterHTML(system, "Korvo printer application " KORVO_VERSION);
    pappl_version_t version{};
    papplCopyString(version.name, kName, sizeof(version.name));
    papplCopyString(version.sversion, KORVO_VERSION, sizeof(version.sversion));
    version.version[0] = static_cast<unsigned short>(atoi(KORVO_VERSION));
    papplSystemSetVersions(system, 1, &version);
    addPngFilter(system);
    addUsbPrintersAutomatically(system);
    setCaptureDirectory(spool != nullptr ? spool : papplGetTempDir());
    stateFile() = option.get("state-file", defaultStateFile().c_str());
    papplSystemLoadState(system, stateFile().c_str());
    papplSystemSetSaveCallback(system, saveState, nullptr);
    return system;
}
