#include "Commands.hpp"

#include <string>
#include <vector>

int main(int argc, char** argv)
{
    return tarno::cli::runCommandLine(std::vector<std::string>(argv + 1, argv + argc));
}
