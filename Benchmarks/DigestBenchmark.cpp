// SHA-256 of one whole file as the duplicate finder computes it, for
// Benchmarks/compare_duplicates.sh to set against `openssl dgst`.
//
//   tarno_digest_benchmark FILE

#include "TarnoCore/Duplicates/DuplicateFinder.hpp"

#include <cstdio>
#include <filesystem>

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: tarno_digest_benchmark FILE\n");
        return 2;
    }
    std::error_code error;
    const auto size = static_cast<std::int64_t>(std::filesystem::file_size(argv[1], error));
    const std::optional<std::string> digest = tarno::DuplicateFinder::digest(argv[1], size, false);
    if (error || !digest)
        return 1;
    std::printf("%s\n", digest->c_str());
    return 0;
}
