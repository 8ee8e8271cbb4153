#include "host/declaration/declaration.h"

#include "host/declaration/module_file.h"

#include <fstream>
#include <iterator>
#include <vector>

namespace tintwell::declaration {
namespace {

std::vector<std::uint8_t> readFile(const std::filesystem::path& path) {
    constexpr std::uintmax_t kLargestModule = std::uintmax_t{1} << 30U;
    std::error_code failure;
    const std::uintmax_t size = std::filesystem::file_size(path, failure);
    if (failure) {
        throw DeclarationError(failure.message());
    }
    if (size > kLargestModule) {
        throw DeclarationError("the file is too large to be an effect module");
    }
    std::ifstream file(path, std::ios::binary);
    std::vector<std::uint8_t> bytes(static_cast<std::size_t>(size));
    if (!file.read(reinterpret_cast<char*>(bytes.data()),
                   static_cast<std::streamsize>(bytes.size()))) {
        throw DeclarationError("the file cannot be read");
    }
    return bytes;
}

Declaration readFrom(const std::filesystem::path& module) {
    const std::vector<std::uint8_t> bytes = readFile(module);
    try {
        return readPropertyList(findPropertyList(ByteView(bytes)));
    } catch (const FormatError& error) {
        throw DeclarationError(std::string(error.what()) + " (byte " +
                               std::to_string(error.offset()) + " of the file)");
    }
}

} // namespace

Declaration readDeclaration(const std::filesystem::path& module) {
    try {
        return readFrom(module);
    } catch (const DeclarationError& error) {
        throw DeclarationError("declaration of '" + module.string() + "': " + error.what());
    }
}

} // namespace tintwell::declaration
