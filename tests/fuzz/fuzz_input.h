// What the fuzzing targets share: the input as a file in memory (the
// readers open paths), and a small memory limit, so that a header claiming
// a huge volume must be refused before anything is allocated.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "voxel_import.h"

class MemoryFile {
public:
    MemoryFile() : m_fd(memfd_create("zelgen-fuzz", 0)), m_path("/proc/self/fd/" + std::to_string(m_fd))
    {
        SetVolumeMemoryLimit(std::int64_t(16) << 20);
    }
    ~MemoryFile() { close(m_fd); }
    MemoryFile(const MemoryFile&) = delete;
    MemoryFile& operator=(const MemoryFile&) = delete;

    // The file's path, now holding exactly `data`.
    const std::string& Hold(const std::uint8_t* data, std::size_t size)
    {
        if (ftruncate(m_fd, 0) != 0) return m_path;
        for (std::size_t done = 0; done < size;) {
            const ssize_t n = pwrite(m_fd, data + done, size - done, static_cast<off_t>(done));
            if (n <= 0) break;
            done += static_cast<std::size_t>(n);
        }
        return m_path;
    }

private:
    int m_fd;
    std::string m_path;
};
