// Writes the declaration to the file named by the argument, for the resource compiler. Runs while
// the module is built, on the machine that builds it.

#include "module/effect/declaration.h"

#include <cstdio>
#include <fstream>

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: write_declaration FILE\n", stderr);
        return 2;
    }
    std::ofstream file(argv[1], std::ios::binary);
    for (const std::uint8_t byte : tintwell::kDeclaration) {
        file.put(static_cast<char>(byte));
    }
    if (!file.flush()) {
        std::fprintf(stderr, "write_declaration: cannot write %s\n", argv[1]);
        return 1;
    }
    return 0;
}
