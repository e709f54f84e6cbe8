#pragma once

#include "TarnoCore/Platform/BulkEntry.hpp"

#include <memory>
#include <vector>

namespace tarno::Platform {

// Reads every entry of one open folder in bulk, with the type, identifiers,
// link count, allocation and modification time of each, without a string per
// entry. Owns the walk's read buffers: they grow to the largest folder's need
// and are reused from folder to folder. One reader serves one walk.
class BulkDirectoryReader {
public:
    enum class Result {
        complete,        // every entry was read
        failedAtStart,   // the first batch could not be read: the folder is unreadable
        failedPartway,   // a later batch failed: what was gathered must be dropped
    };

    BulkDirectoryReader();
    ~BulkDirectoryReader();
    BulkDirectoryReader(const BulkDirectoryReader&) = delete;
    BulkDirectoryReader& operator=(const BulkDirectoryReader&) = delete;

    // Opens a real folder for reading; fails (returns -1) on anything else,
    // a symbolic link to a folder included.
    static int openFolder(const char* path);

    // Appends the entries of the folder open at `descriptor` to `entries`,
    // leaving out "." and "..". Their names live in this reader's buffers
    // until the next call.
    Result read(int descriptor, std::vector<BulkEntry>& entries);

private:
    struct Buffers;
    std::unique_ptr<Buffers> m_buffers;
};

} // namespace tarno::Platform
