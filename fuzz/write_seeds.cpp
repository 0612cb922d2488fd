// Writes a small valid file of every format and depth as seeds: write_seeds FOLDER, one folder per codec.
#include <filesystem>
#include <fstream>

#include "support/fixtures.h"

namespace fs = std::filesystem;

int main(int argc, char** argv) {
    if (argc != 2) return 2;
    for (const auto* codec : quillmark::imaging::all_codecs()) {
        const fs::path folder = fs::path{argv[1]} / quillmark::tests::codec_id(*codec);
        fs::create_directories(folder);
        int number = 0;
        for (const auto& fixture : quillmark::tests::all_fixtures(*codec, QUILLMARK_TEST_DATA)) {
            std::ofstream file{folder / ("seed" + std::to_string(number++)), std::ios::binary};
            file.write(reinterpret_cast<const char*>(fixture.bytes.data()),
                       static_cast<std::streamsize>(fixture.bytes.size()));
        }
    }
    return 0;
}
