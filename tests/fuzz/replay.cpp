// Calls the fuzz target for each file that is named, and for each file of each folder.

#include "Fuzzing.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace {

namespace fs = std::filesystem;

void replay(const fs::path& file)
{
    std::ifstream stream(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    std::cout << file << std::endl; // flushed, should this be the one that ends the program
    const std::vector<std::uint8_t> input(bytes.begin(), bytes.end());
    LLVMFuzzerTestOneInput(input.data(), input.size());
}

} // namespace

int main(int argc, char** argv)
{
    std::size_t count = 0;
    try {
        for (const fs::path path : std::vector<std::string>(argv + 1, argv + argc)) {
            if (fs::is_directory(path)) {
                for (const auto& entry : fs::directory_iterator(path)) {
                    replay(entry.path());
                    ++count;
                }
            } else {
                replay(path);
                ++count;
            }
        }
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
    std::cout << count << " inputs\n";
    return count > 0 ? 0 : 1;
}
