// Reading JSON files of arbitrary bytes, through both forms of loadJSONFile.

#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string>

#include "serialization/json_file.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static const std::string path = "/tmp/vela_json_fuzz_" + std::to_string(::getpid()) + ".json";
    if (FILE* file = std::fopen(path.c_str(), "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
    vela::json document;
    const vela::JSON_FILE_STATUS status = vela::loadJSONFile(path, document);
    if (status != vela::JSON_FILE_STATUS::SUCCESS && !document.is_null()) __builtin_trap();

    vela::String text;
    if (vela::loadJSONFile(vela::String(path), text) != status) __builtin_trap();
    if (status != vela::JSON_FILE_STATUS::SUCCESS && text != "null") __builtin_trap();
    if (status == vela::JSON_FILE_STATUS::SUCCESS) {
        // The compact text is itself one JSON document equal to the file's.
        vela::json again;
        if (!vela::parseJSONFile(text, again) || again != document) __builtin_trap();
        std::string member;
        for (const auto& entry : document.items())
            (void)vela::getString(document, entry.key(), member, false);
    }
    return 0;
}
