// SPDX-License-Identifier: Apache-2.0
#include "virtualprinter/DeviceUri.h"

#include <algorithm>
#include <stdexcept>

namespace virtualprinter {

namespace {

constexpr const char* kScheme = "korvo-virtual:";

int hexDigit(char c)
{
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string percentDecoded(const std::string& text)
{
    std::string decoded;
    for (size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '%') {
            decoded += text[i];
            continue;
        }
        const int high = i + 2 < text.size() ? hexDigit(text[i + 1]) : -1;
        const int low = high >= 0 ? hexDigit(text[i + 2]) : -1;
        if (low < 0 || (high == 0 && low == 0)) {
            throw std::invalid_argument("bad percent escape in \"" + text + "\"");
        }
        decoded += static_cast<char>(high * 16 + low);
        i += 2;
    }
    return decoded;
}

std::string directoryOf(std::string path)
{
    if (path.rfind("//", 0) == 0) {
        path.erase(0, 2);  // an empty host, as in korvo-virtual:///DIR
    }
    if (path.empty() || path[0] != '/') {
        throw std::invalid_argument("the directory must be an absolute path, as in korvo-virtual:/var/spool/previews");
    }
    return percentDecoded(path);
}

void addOption(DeviceUri& uri, const std::string& option)
{
    const size_t equals = option.find('=');
    if (equals == std::string::npos || equals == 0) {
        throw std::invalid_argument("option \"" + option + "\" is not NAME=VALUE");
    }
    const std::string name = option.substr(0, equals);
    if (!uri.options.emplace(name, percentDecoded(option.substr(equals + 1))).second) {
        throw std::invalid_argument("option " + name + " is given twice");
    }
}

}  // namespace

DeviceUri parseDeviceUri(const std::string& text)
{
    if (text.rfind(kScheme, 0) != 0) {
        throw std::invalid_argument("it does not start with " + std::string(kScheme));
    }
    const std::string rest = text.substr(std::string(kScheme).size());
    const size_t question = rest.find('?');
    DeviceUri uri;
    uri.directory = directoryOf(rest.substr(0, question));
    if (question == std::string::npos) {
        return uri;
    }
    const std::string query = rest.substr(question + 1);
    for (size_t start = 0; start <= query.size();) {
        const size_t end = std::min(query.find('&', start), query.size());
        addOption(uri, query.substr(start, end - start));
        start = end + 1;
    }
    return uri;
}

}  // namespace virtualprinter
