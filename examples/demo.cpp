// Walks through vela's public interface: every status code with its short and long text, and the
// description of a few Mats.

#include <vela/vela.hpp>

#include <cstdio>

int main() {
    std::printf("%-6s %-45s %s\n", "code", "short text", "verbose text");
    for (int value = -4; value <= 33; ++value) {
        const auto code = static_cast<vela::ERROR_CODE>(value);
        std::printf("%-6d %-45s %s\n", value, vela::toString(code).c_str(), vela::toVerbose(code).c_str());
    }

    std::printf("\n");
    vela::Mat empty;
    vela::Mat depth(1280, 720, vela::MAT_TYPE::F32_C1, vela::MEM::CPU);
    depth.name = "depth";
    depth.timestamp = 1700000000000;
    vela::Mat view = depth;  // shares the buffer, owns nothing
    view.name = "depth view";
    vela::Mat image(640, 480, vela::MAT_TYPE::U8_C4, vela::MEM::CPU);
    image.name = "";  // without a name, the Mat's address is its label
    // An empty Mat's description has no line end of its own.
    for (const vela::Mat* mat : {&empty, &depth, &view, &image})
        std::printf("%s%s", mat->getInfos().c_str(), mat->isInit() ? "" : "\n");
    return 0;
}
