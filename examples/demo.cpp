// Walks through vela's public interface. For now: every status code with its short and long text.

#include <vela/vela.hpp>

#include <cstdio>

int main() {
    std::printf("%-6s %-45s %s\n", "code", "short text", "verbose text");
    for (int value = -4; value <= 33; ++value) {
        const auto code = static_cast<vela::ERROR_CODE>(value);
        std::printf("%-6d %-45s %s\n", value, vela::toString(code).c_str(), vela::toVerbose(code).c_str());
    }
    return 0;
}
