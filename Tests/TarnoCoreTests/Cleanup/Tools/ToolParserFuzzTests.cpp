// Every tool parser against valid samples and thousands of deterministic mutations: whatever a tool
// prints, the parsers answer (or give the empty answer) and never crash. Run under the sanitizers.

#include "TarnoCore/Cleanup/Tools/Docker.hpp"
#include "TarnoCore/Cleanup/Tools/Homebrew.hpp"
#include "TarnoCore/Cleanup/Tools/Simulators.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace tarno {
namespace {

const std::string dockerSample =
    R"json({"Active":"2","Reclaimable":"1.2GB (30%)","Size":"4GB","TotalCount":"7","Type":"Images"}
{"Active":"1","Reclaimable":"512kB (50%)","Size":"1MB","TotalCount":"3","Type":"Containers"}
{"Active":"0","Reclaimable":"300MB","Size":"300MB","TotalCount":"2","Type":"Local Volumes"}
{"Active":"0","Reclaimable":"2.5GB","Size":"2.5GB","TotalCount":"40","Type":"Build Cache"}
)json";

const std::string homebrewSample = "Would remove: /opt/homebrew/Cellar/node/21.1.0 (2,345 files, 61.2MB)\n"
                                   "This operation would free approximately 1.5GB of disk space.\n";

const std::string simulatorsSample = R"({"devices":{
"com.apple.CoreSimulator.SimRuntime.iOS-17-5":[{"udid":"B2","name":"iPhone 15","isAvailable":true},
{"udid":"A1","name":"iPad Air","isAvailable":false}],
"com.x.watchOS-10-2-1":[{"udid":"C3","name":"Apple Watch"}]}}
)";

std::vector<std::string> mutationsOf(const std::string& sample, unsigned seed)
{
    std::vector<std::string> corpus{sample};
    for (std::size_t length = 0; length < sample.size(); ++length)
        corpus.push_back(sample.substr(0, length));
    for (std::size_t index = 0; index < sample.size(); ++index) {
        for (const unsigned char mask : {0x01, 0x20, 0x80, 0xFF}) {
            std::string flipped = sample;
            flipped[index] = static_cast<char>(static_cast<unsigned char>(flipped[index]) ^ mask);
            corpus.push_back(std::move(flipped));
        }
        std::string removed = sample;
        removed.erase(index, 1);
        corpus.push_back(std::move(removed));
        for (const char inserted : std::string_view("\0\"{}[],:\n\\", 10)) {
            std::string grown = sample;
            grown.insert(index, 1, inserted);
            corpus.push_back(std::move(grown));
        }
    }
    // Every number in turn replaced by one that is huge, negative, not a number or absurdly precise.
    for (std::size_t start = sample.find_first_of("0123456789"); start != std::string::npos;
         start = sample.find_first_of("0123456789", start + 1)) {
        const std::size_t end = std::min(sample.find_first_not_of("0123456789.", start), sample.size());
        for (const std::string& number : {std::string(400, '9'), std::string("1e999"), std::string("-1"),
                                          "0." + std::string(400, '0') + "1", std::string("1.2.3"),
                                          std::string("18446744073709551616")})
            corpus.push_back(sample.substr(0, start) + number + sample.substr(end));
        start = end;
    }
    std::mt19937 random(seed);
    for (int count = 0; count < 2000; ++count) {
        std::string mutant = sample;
        const int edits = 1 + static_cast<int>(random() % 8);
        for (int edit = 0; edit < edits && !mutant.empty(); ++edit) {
            const std::size_t at = random() % mutant.size();
            switch (random() % 3) {
            case 0: mutant[at] = static_cast<char>(random() % 256); break;
            case 1: mutant.erase(at, 1 + random() % 16); break;
            default: mutant.insert(at, mutant.substr(random() % mutant.size(), 1 + random() % 32)); break;
            }
        }
        corpus.push_back(std::move(mutant));
    }
    return corpus;
}

std::vector<std::string> hostileInputs()
{
    std::vector<std::string> inputs{
        std::string(100'000, '['),
        std::string(100'000, '[') + std::string(100'000, ']'),
        std::string(100'000, '{'),
        "{\"devices\":" + std::string(50'000, '[') + std::string(50'000, ']') + "}",
        "{\"Type\":\"Images\",\"Reclaimable\":" + std::string(50'000, '[') + std::string(50'000, ']') + "}",
        "approximately " + std::string(1'000'000, '9') + "GB",
        "approximately " + std::string(1'000'000, '.') + "B",
        std::string(1'000'000, '\n'),
        std::string(200'000, '\0'),
        "{\"Type\":\"Images\",\"Reclaimable\":\"" + std::string(1'000'000, '9') + "GB\"}",
        "{\"devices\":{\"\":[{\"udid\":\"\",\"name\":\"\"}]}}",
        "{\"Type\":\"Images\",\"Reclaimable\":\"\xff\xfe\"}",
        "{\"devices\":{\"r\":[{\"udid\":\"\\ud800\",\"name\":\"x\"}]}}",
    };
    std::string everyByte;
    for (int byte = 0; byte < 256; ++byte)
        everyByte.push_back(static_cast<char>(byte));
    inputs.push_back(everyByte);
    return inputs;
}

void expectSaneAnswers(const std::string& input)
{
    EXPECT_GE(Docker::parseSize(input), 0);
    if (const auto usage = Docker::parseUsage(input)) {
        EXPECT_GE(std::min({usage->containers, usage->images, usage->volumes, usage->buildCache}), 0);
    }
    EXPECT_GE(Homebrew::parseEstimate(input).value_or(0), 0);
    (void)Simulators::parse(input);
}

TEST(ToolParserFuzzTests, EveryParserSurvivesTheCorpus)
{
    std::size_t inputs = 0;
    unsigned seed = 1;
    for (const std::string* sample : {&dockerSample, &homebrewSample, &simulatorsSample}) {
        for (const std::string& input : mutationsOf(*sample, seed++)) {
            expectSaneAnswers(input);
            ++inputs;
        }
    }
    for (const std::string& input : hostileInputs()) {
        expectSaneAnswers(input);
        ++inputs;
    }
    EXPECT_GT(inputs, 10'000U);
}

TEST(ToolParserFuzzTests, TruncatedOutputKeepsOnlyWhatIsWhole)
{
    // A line cut short never decodes: the answer is that of the whole lines before it, or nothing.
    for (std::size_t length = 0; length < dockerSample.size(); ++length) {
        const std::string prefix = dockerSample.substr(0, length);
        const std::size_t lineStart = prefix.rfind('\n') == std::string::npos ? 0 : prefix.rfind('\n') + 1;
        if (dockerSample[length] == '\n')
            continue; // the line is whole
        EXPECT_EQ(Docker::parseUsage(prefix), Docker::parseUsage(prefix.substr(0, lineStart))) << length;
    }
    // A cut JSON document is not a document.
    const std::size_t lastBrace = simulatorsSample.rfind('}');
    for (std::size_t length = 0; length <= lastBrace; ++length)
        EXPECT_TRUE(Simulators::parse(simulatorsSample.substr(0, length)).empty()) << length;
    EXPECT_EQ(Simulators::parse(simulatorsSample).size(), 3U);
}

} // namespace
} // namespace tarno
