// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/PrinterSettings.h"

#include <cups/ppd.h>

#include <algorithm>
#include <cctype>
#include <memory>
#include <stdexcept>

namespace virtualprinter {

namespace {

constexpr size_t kStatusReplySize = 13;
constexpr size_t kLargestReplySize = 1024;
constexpr const char* kDefaultModel = "K5";

struct PpdCloser {
    void operator()(ppd_file_t* ppd) const { ppdClose(ppd); }
};

// A model name fit for the device ID, whose fields end with ';'.
bool isModelName(const std::string& name)
{
    return !name.empty() && name.size() <= 64 && std::all_of(name.begin(), name.end(), [](char c) {
        return isalnum(static_cast<unsigned char>(c)) || c == ' ' || c == '-' || c == '_' || c == '.';
    });
}

std::string ppdModelName(const char* path)
{
    const std::unique_ptr<ppd_file_t, PpdCloser> ppd(path != nullptr ? ppdOpenFile(path) : nullptr);
    return ppd && ppd->modelname != nullptr ? ppd->modelname : "";
}

std::string modelFor(const DeviceUri& uri, const char* ppdPath)
{
    const auto option = uri.options.find("model");
    if (option == uri.options.end()) {
        const std::string fromPpd = ppdModelName(ppdPath);
        return isModelName(fromPpd) ? fromPpd : kDefaultModel;
    }
    if (!isModelName(option->second)) {
        throw std::invalid_argument("model \"" + option->second + "\" is not a plain model name such as K5");
    }
    return option->second;
}

size_t replySizeFor(const DeviceUri& uri)
{
    const auto option = uri.options.find("reply-size");
    if (option == uri.options.end()) {
        return kStatusReplySize;
    }
    const std::string& text = option->second;
    const bool digits = !text.empty() && text.size() <= 4 &&
                        std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
    const size_t size = digits ? std::stoul(text) : 0;
    if (size < kStatusReplySize || size > kLargestReplySize) {
        throw std::invalid_argument("reply-size \"" + text + "\" is not a number from 13 to 1024");
    }
    return size;
}

}  // namespace

PrinterSettings settingsFor(const DeviceUri& uri, const char* ppdPath)
{
    for (const auto& [name, value] : uri.options) {
        if (name != "status" && name != "model" && name != "reply-size") {
            throw std::invalid_argument("unknown option " + name + " (known: status, model, reply-size)");
        }
    }
    PrinterSettings settings;
    settings.directory = uri.directory;
    const auto script = uri.options.find("status");
    if (script != uri.options.end()) {
        settings.script = StatusScript(script->second);
    }
    settings.deviceId = "MFG:Korvo;MDL:" + modelFor(uri, ppdPath) + ";CMD:KORVO;CLS:PRINTER;";
    settings.replySize = replySizeFor(uri);
    return settings;
}

}  // namespace virtualprinter
