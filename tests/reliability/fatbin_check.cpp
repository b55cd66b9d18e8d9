// Reads the .nv_fatbin section of a shared library and checks that it serves the given compute
// capabilities: real code (an ELF entry) for each of `sm`, PTX for each of `ptx`.
//
//   vela_fatbin_check <library> <sm list> <ptx list>      lists are comma-separated, e.g. 75,80 and 75
//
// Fat binary layout, as nvcc writes it: blobs of a 16-byte header (magic 0xBA55ED50, 16-bit version and
// header size, 64-bit size of the entries), each entry a header (16-bit kind: 1 PTX, 2 ELF; 32-bit header
// size at +4; 64-bit payload size at +8; 32-bit compute capability as major x 10 + minor at +28) followed
// by its payload. Blobs of several objects follow each other, padded.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

template <typename T>
bool readAt(const std::vector<unsigned char>& bytes, size_t offset, T* value) {
    if (offset > bytes.size() || bytes.size() - offset < sizeof(T)) return false;
    std::memcpy(value, bytes.data() + offset, sizeof(T));
    return true;
}

// The bytes of the ELF64 section named `name`; empty when there is none.
std::vector<unsigned char> section(const std::vector<unsigned char>& elf, const std::string& name) {
    uint64_t sectionTable = 0;
    uint16_t entrySize = 0, count = 0, namesIndex = 0;
    if (elf.size() < 64 || std::memcmp(elf.data(), "\177ELF\2", 5) != 0 ||
        !readAt(elf, 0x28, &sectionTable) || !readAt(elf, 0x3A, &entrySize) || !readAt(elf, 0x3C, &count) ||
        !readAt(elf, 0x3E, &namesIndex))
        return {};
    uint64_t namesOffset = 0;
    if (!readAt(elf, sectionTable + uint64_t{namesIndex} * entrySize + 0x18, &namesOffset)) return {};
    for (uint16_t i = 0; i < count; ++i) {
        const uint64_t header = sectionTable + uint64_t{i} * entrySize;
        uint32_t nameOffset = 0;
        uint64_t offset = 0, size = 0;
        if (!readAt(elf, header, &nameOffset) || !readAt(elf, header + 0x18, &offset) ||
            !readAt(elf, header + 0x20, &size))
            return {};
        const uint64_t at = namesOffset + nameOffset;
        if (at >= elf.size()) continue;
        const char* text = reinterpret_cast<const char*>(elf.data() + at);
        if (std::string(text, strnlen(text, elf.size() - at)) != name) continue;
        if (offset > elf.size() || size > elf.size() - offset) return {};
        return {elf.begin() + static_cast<std::ptrdiff_t>(offset),
                elf.begin() + static_cast<std::ptrdiff_t>(offset + size)};
    }
    return {};
}

std::set<unsigned> parseList(const std::string& text) {
    std::set<unsigned> values;
    std::stringstream items(text);
    for (std::string item; std::getline(items, item, ',');)
        if (!item.empty()) values.insert(static_cast<unsigned>(std::stoul(item)));
    return values;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 4) {
        std::fprintf(stderr, "usage: %s <library> <sm list> <ptx list>\n", argv[0]);
        return 2;
    }
    std::ifstream file(argv[1], std::ios::binary);
    const std::vector<unsigned char> elf((std::istreambuf_iterator<char>(file)),
                                         std::istreambuf_iterator<char>());
    const std::vector<unsigned char> fatbin = section(elf, ".nv_fatbin");
    if (fatbin.empty()) {
        std::fprintf(stderr, "%s: no .nv_fatbin section\n", argv[1]);
        return 1;
    }
    std::set<unsigned> elfServed, ptxServed;
    size_t blob = 0;
    while (blob + 16 <= fatbin.size()) {
        uint32_t magic = 0;
        uint16_t headerSize = 0;
        uint64_t entriesSize = 0;
        readAt(fatbin, blob, &magic);
        if (magic != 0xBA55ED50u) {
            blob += 8;  // padding between blobs
            continue;
        }
        readAt(fatbin, blob + 6, &headerSize);
        readAt(fatbin, blob + 8, &entriesSize);
        const size_t end = blob + headerSize + entriesSize;
        for (size_t entry = blob + headerSize; entry + 32 <= end && entry + 32 <= fatbin.size();) {
            uint16_t kind = 0;
            uint32_t entryHeader = 0, capability = 0;
            uint64_t payload = 0;
            readAt(fatbin, entry, &kind);
            readAt(fatbin, entry + 4, &entryHeader);
            readAt(fatbin, entry + 8, &payload);
            readAt(fatbin, entry + 28, &capability);
            if (kind == 1) ptxServed.insert(capability);
            if (kind == 2) elfServed.insert(capability);
            if (entryHeader == 0) break;
            entry += entryHeader + payload;
        }
        blob = end > blob ? end : blob + 16;
    }
    int missing = 0;
    for (unsigned capability : parseList(argv[2]))
        if (elfServed.count(capability) == 0) {
            std::printf("no real code for compute capability %u.%u\n", capability / 10, capability % 10);
            ++missing;
        }
    for (unsigned capability : parseList(argv[3]))
        if (ptxServed.count(capability) == 0) {
            std::printf("no PTX for compute capability %u.%u\n", capability / 10, capability % 10);
            ++missing;
        }
    std::string served;
    for (unsigned capability : elfServed)
        served += " sm_" + std::to_string(capability);
    for (unsigned capability : ptxServed)
        served += " compute_" + std::to_string(capability);
    std::printf("%s serves:%s\n", argv[1], served.c_str());
    return missing == 0 ? 0 : 1;
}
