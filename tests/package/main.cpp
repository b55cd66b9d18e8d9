#include <vela/vela.hpp>

#include <cstdio>

int main() {
    const vela::String text = vela::toString(vela::ERROR_CODE::INVALID_AREA_FILE);
    std::printf("%s\n", text.c_str());
    return text == "INVALID ARE FILE" ? 0 : 1;
}
