// SPDX-License-Identifier: Apache-2.0
// A private temporary directory (mode 0700 under $TMPDIR or /tmp) for the
// files a job leaves: page captures and the geometry log. Removed with its
// files at destruction.
#pragma once

#include <functional>
#include <string>

class ScratchDirectory {
public:
    ScratchDirectory();
    ~ScratchDirectory();
    ScratchDirectory(const ScratchDirectory&) = delete;
    ScratchDirectory& operator=(const ScratchDirectory&) = delete;

    const std::string& path() const { return path_; }

    // Shows every file to `inspect`, then removes it.
    void clear(const std::function<void(const std::string& file)>& inspect);

private:
    std::string path_;
};
