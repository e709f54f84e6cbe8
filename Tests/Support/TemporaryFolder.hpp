#pragma once

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>

#include <sys/stat.h>

namespace tarno::test {

// A fresh folder under the system's temporary folder, removed with everything
// in it when the test ends. Every fixture tree of the tests lives in one.
class TemporaryFolder {
public:
    TemporaryFolder()
        : TemporaryFolder(std::filesystem::temp_directory_path().string())
    {
    }
    // The same inside `parent`, for a test that needs a second file system.
    explicit TemporaryFolder(const std::string& parent)
    {
        std::string pattern = parent + "/tarno-test-XXXXXX";
        if (::mkdtemp(pattern.data()) == nullptr)
            throw std::runtime_error("mkdtemp failed");
        m_path = pattern;
    }
    ~TemporaryFolder()
    {
        // Folders a test locked must be opened again before they can be removed.
        std::error_code error;
        for (auto it = std::filesystem::recursive_directory_iterator(
                 m_path, std::filesystem::directory_options::skip_permission_denied, error);
             it != std::filesystem::recursive_directory_iterator(); it.increment(error)) {
            if (it->is_directory(error) && !it->is_symlink(error))
                ::chmod(it->path().c_str(), 0755);
        }
        std::filesystem::remove_all(m_path, error);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return m_path; }

    // path() + "/" + relative
    std::string operator/(std::string_view relative) const { return m_path + "/" + std::string(relative); }

    // Makes a folder and its parents; returns its full path.
    std::string makeFolder(std::string_view relative) const
    {
        std::string full = *this / relative;
        std::filesystem::create_directories(full);
        return full;
    }

    // Writes a file of `size` bytes (parents made as needed); returns its full path.
    std::string makeFile(std::string_view relative, std::size_t size = 0, char fill = 'x') const
    {
        std::string full = *this / relative;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::ofstream out(full, std::ios::binary | std::ios::trunc);
        std::string block(4096, fill);
        for (std::size_t written = 0; written < size; written += block.size())
            out.write(block.data(), static_cast<std::streamsize>(std::min(block.size(), size - written)));
        return full;
    }

    // A symbolic link at `relative` whose content is `target`, verbatim; returns its full path.
    std::string makeSymlink(std::string_view target, std::string_view relative) const
    {
        std::string full = *this / relative;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::filesystem::create_symlink(std::filesystem::path(std::string(target)), full);
        return full;
    }

    // A second name for the existing file `existing`; both relative; returns the new full path.
    std::string makeHardLink(std::string_view existing, std::string_view relative) const
    {
        std::string full = *this / relative;
        std::filesystem::create_directories(std::filesystem::path(full).parent_path());
        std::filesystem::create_hard_link(*this / existing, full);
        return full;
    }

private:
    std::string m_path;
};

} // namespace tarno::test
