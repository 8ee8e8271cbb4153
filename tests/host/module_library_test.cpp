#include "host/module_library.h"

#include <gtest/gtest.h>

namespace tintwell::host {
namespace {

std::string loadError(const std::filesystem::path& file) {
    try {
        const ModuleLibrary library(file);
    } catch (const ModuleLoadError& failure) {
        return failure.what();
    }
    return "loaded";
}

TEST(ModuleLibrary, saysWhatIsWrongWithTheFile) {
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"no/such/module.so", "no such file"},
        {NOT_A_LIBRARY, "not a module that can be loaded here: "},
        {"/", "not a module that can be loaded here: "},
        {NOT_AN_EFFECT, "exports no function 'main'"}};
    for (const auto& [file, reason] : kCases) {
        const std::string message = loadError(file);
        EXPECT_NE(message.find(reason), std::string::npos) << message;
        EXPECT_NE(message.find(file), std::string::npos) << message;
    }
}

TEST(ModuleLibrary, findsAModuleByItsBareNameInTheCurrentFolder) {
    const std::filesystem::path before = std::filesystem::current_path();
    const std::filesystem::path file = TINTWELL_MODULE_PATH;
    std::filesystem::current_path(file.parent_path());
    EXPECT_EQ(loadError(file.filename()), "loaded");
    std::filesystem::current_path(before);
}

} // namespace
} // namespace tintwell::host
