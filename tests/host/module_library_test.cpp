#include "host/module_library.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>

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
    const auto text = std::filesystem::temp_directory_path() / "host_test_not_a_library.so";
    std::ofstream(text) << "plain text";

    struct Case {
        std::filesystem::path file;
        const char* reason;
    };

    for (const Case& c : {Case{"no/such/module.so", "no such file"},
                          Case{text, "not a module that can be loaded here: "},
                          Case{std::filesystem::temp_directory_path(), "not a module that can be"},
                          Case{NOT_AN_EFFECT, "exports no function 'main'"}}) {
        const std::string message = loadError(c.file);
        EXPECT_NE(message.find(c.reason), std::string::npos) << message;
        EXPECT_NE(message.find(c.file.string()), std::string::npos) << message;
    }
    std::filesystem::remove(text);
}

TEST(ModuleLibrary, findsAModuleByItsBareNameInTheCurrentFolder) {
    const auto before = std::filesystem::current_path();
    const std::filesystem::path file = FAKE_EFFECT;
    std::filesystem::current_path(file.parent_path());
    EXPECT_EQ(loadError(file.filename()), "loaded");
    std::filesystem::current_path(before);
}

} // namespace
} // namespace tintwell::host
