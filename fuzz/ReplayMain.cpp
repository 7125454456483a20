// Replays fuzz inputs without the fuzzer: runs a fuzz target's entry point once on every file named
// on the command line or found in a named folder (not its subfolders), so that every committed seed
// and regression input is checked in every test run. A path after --if-exists may be missing; any
// other missing path, an unreadable file or finding no input at all fails the replay.
//
//   replay_<target> [--if-exists] PATH...

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerInitialize(int* argc, char*** argv);
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size);

namespace {

namespace fs = std::filesystem;

bool readFile(const fs::path& path, std::vector<std::uint8_t>& out) {
    std::ifstream in(path, std::ifstream::binary);
    if (!in) {
        return false;
    }
    out.assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    return !in.bad();
}

}  // namespace

int main(int argc, char** argv) {
    LLVMFuzzerInitialize(&argc, &argv);
    std::vector<fs::path> inputs;
    bool optional = false;
    for (int i = 1; i < argc; ++i) {
        if (std::strcmp(argv[i], "--if-exists") == 0) {
            optional = true;
            continue;
        }
        const fs::path path(argv[i]);
        std::error_code error;
        const fs::file_status status = fs::status(path, error);
        if (!fs::exists(status)) {
            if (!optional) {
                std::fprintf(stderr, "replay: %s: no such file or folder\n", argv[i]);
                return 2;
            }
            std::fprintf(stderr, "replay: %s: absent, skipped\n", argv[i]);
        } else if (fs::is_directory(status)) {
            std::vector<fs::path> files;
            for (const fs::directory_entry& entry : fs::directory_iterator(path, error)) {
                if (entry.is_regular_file()) {
                    files.push_back(entry.path());
                }
            }
            if (error) {
                std::fprintf(stderr, "replay: %s: cannot list: %s\n", argv[i], error.message().c_str());
                return 2;
            }
            std::sort(files.begin(), files.end());
            inputs.insert(inputs.end(), files.begin(), files.end());
        } else {
            inputs.push_back(path);
        }
        optional = false;
    }
    if (inputs.empty()) {
        std::fprintf(stderr, "replay: no input found\n");
        return 2;
    }
    std::vector<std::uint8_t> data;
    for (const fs::path& input : inputs) {
        if (!readFile(input, data)) {
            std::fprintf(stderr, "replay: %s: cannot be read\n", input.c_str());
            return 2;
        }
        // Named before it runs, so that a crash points at its input.
        std::fprintf(stderr, "replay: %s\n", input.c_str());
        std::fflush(stderr);
        // The fuzzer never hands over a null pointer, not even for an empty input.
        static const std::uint8_t kNothing = 0;
        LLVMFuzzerTestOneInput(data.empty() ? &kNothing : data.data(), data.size());
    }
    std::printf("replay: %zu inputs ran without a failure\n", inputs.size());
    return 0;
}
