// Compiled, never run, by the ctest entries misuse_*: each form of misuse must stop the compiler with the
// message users see.
#include <vela/vela.hpp>

int main() {
    vela::Mat mat(2, 2, vela::MAT_TYPE::F32_C1);
#if defined(VELA_MISUSE_NON_ELEMENT)
    return static_cast<int>(mat.setTo(3));  // an int is no element type
#elif defined(VELA_MISUSE_DROPPED_STATUS)
    mat.setTo(3.0f);  // the status is dropped
    return 0;
#endif
}
