// docker system df --format '{{json .}}': one JSON object a line.

#include "FuzzSupport.hpp"

#include "TarnoCore/Cleanup/Tools/Docker.hpp"

using namespace tarno;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view text = Fuzz::text(data, size);
    Fuzz::require(Docker::parseSize(text) >= 0);
    const std::optional<DockerUsage> usage = Docker::parseUsage(text);
    if (!usage)
        return 0;
    // Reported sizes become the items' known sizes and the freed total.
    Fuzz::require(usage->containers >= 0 && usage->images >= 0 && usage->volumes >= 0 && usage->buildCache >= 0);
    return 0;
}
