#include "vela/core/uuid.hpp"

#include <random>
#include <sstream>

namespace vela {
namespace uuid {
namespace {

// Seeded once with one value from the random device and never reseeded: the sequence of identifiers
// depends only on that seed.
std::random_device rd;
std::mt19937_64 gen(rd());
std::uniform_int_distribution<int> dis(0, 15);
std::uniform_int_distribution<int> dis2(8, 11);  // the variant digit: 8, 9, a or b

void appendDigits(std::stringstream& ss, int count) {
    for (int i = 0; i < count; ++i)
        ss << dis(gen);
}

}  // namespace

std::string generate_uuid_v4() {
    std::stringstream ss;
    ss << std::hex;  // each value below 16 is written as one lower-case digit
    appendDigits(ss, 8);
    ss << "-";
    appendDigits(ss, 4);
    ss << "-4";
    appendDigits(ss, 3);
    ss << "-";
    ss << dis2(gen);
    appendDigits(ss, 3);
    ss << "-";
    appendDigits(ss, 12);
    return ss.str();
}

}  // namespace uuid

String generate_unique_id() {
    return uuid::generate_uuid_v4();
}

}  // namespace vela
