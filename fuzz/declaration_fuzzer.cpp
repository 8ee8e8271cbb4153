// Module files, and property lists on their own, of any bytes.

#include "check.h"
#include "host/declaration/declaration.h"
#include "host/declaration/module_file.h"

using namespace tintwell::declaration;

namespace {

template <class Read>
void readOrRefuse(std::size_t size, Read read) {
    try {
        const Declaration declaration = read();
        tintwell::fuzz::check(declaration.offset <= size &&
                                  declaration.size <= size - declaration.offset,
                              "a declaration lies inside its file");
    } catch (const FormatError& error) {
        tintwell::fuzz::check(error.offset() <= size, "errors point into the file");
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const ByteView bytes(std::span(data, size));
    readOrRefuse(size, [&] { return readPropertyList(findPropertyList(bytes)); });
    readOrRefuse(size, [&] { return readPropertyList(bytes); });
    return 0;
}
