#include <vela/vela.hpp>

#include <cstdio>

int main() {
    const vela::String text = vela::toString(vela::ERROR_CODE::INVALID_AREA_FILE);
    std::printf("%s\n", text.c_str());
    // The element-access templates are instantiated inside the library and must be exported.
    vela::Mat image(2, 2, vela::MAT_TYPE::U8_C4);
    image.setTo(vela::Vector4<unsigned char>(1, 2, 3, 4));
    vela::Vector4<unsigned char> pixel;
    const bool read = image.getValue(1, 1, &pixel) == vela::ERROR_CODE::SUCCESS && pixel.w == 4;
    return text == "INVALID ARE FILE" && read ? 0 : 1;
}
