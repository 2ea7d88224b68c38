// SPDX-License-Identifier: Apache-2.0
// DIR/JOBID, where a job's stream and page previews go and nothing else.
// It is created mode 0755 (less what the umask takes away); a retried job
// takes over the directory its earlier attempt made, less the page previews
// that attempt left. Nothing is reached through a symbolic link, and a
// directory another user owns is refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "virtualprinter/UniqueFd.h"

namespace virtualprinter {

class JobDirectory {
public:
    // Throws std::runtime_error naming the directory and the reason.
    JobDirectory(const std::string& parent, const std::string& jobId);

    const std::string& path() const { return path_; }
    std::string pathOf(const std::string& name) const { return path_ + "/" + name; }

    // A new empty file, mode 0644 less the umask, replacing one an earlier
    // attempt left. Throws std::runtime_error.
    UniqueFd create(const std::string& name) const;

private:
    void removePreviews() const;

    std::string path_;
    UniqueFd fd_;
};

// Writes all of data to the stream file fd. Throws std::runtime_error.
void recordStream(int fd, const uint8_t* data, size_t size);

}  // namespace virtualprinter
