#include "host/declaration/declaration.h"
#include "host/declaration/module_file.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>

namespace tintwell::declaration {
namespace {

using namespace std::string_view_literals;
using property_list::Property;

// clang-format off
// Written out byte by byte; every line but the first is a property.
constexpr std::string_view kList =
    "\x01\0" "\0\0\0\0" "\x0c\0\0\0"
    "NVQZ" "dnik" "\0\0\0\0" "\x04\0\0\0" "TKFe"
    "NVQZ" "eman" "\0\0\0\0" "\x25\0\0\0" "\x24" "$$$/QX/Effect/Name/Tintwell=Tintwell" "\0\0\0"
    "NVQZ" "gtac" "\0\0\0\0" "\x38\0\0\0" "\x37" "$$$/QX/Effect/Category/ColorCorrection="
                                                 "Color Correction"
    "NVQZ" "4668" "\0\0\0\0" "\x08\0\0\0" "main\0\0\0\0"
    "NVQZ" "RVPe" "\0\0\0\0" "\x04\0\0\0" "\x02\0\0\0"
    "NVQZ" "RVSe" "\0\0\0\0" "\x04\0\0\0" "\x0d\0" "\x02\0"
    "NVQZ" "REVe" "\0\0\0\0" "\x04\0\0\0" "\x00\x06\x08\x00"
    "NVQZ" "FNIe" "\0\0\0\0" "\x02\0\0\0" "\0\0" "\0\0"
    "NVQZ" "OLGe" "\0\0\0\0" "\x04\0\0\0" "\x02\x00\x00\x02"
    "NVQZ" "2LGe" "\0\0\0\0" "\x04\0\0\0" "\x40\0\0\0"
    "NVQZ" "ANMe" "\0\0\0\0" "\x0f\0\0\0" "\x0d" "ZQVN Tintwell" "\0" "\0"
    "NVQZ" "GLFe" "\0\0\0\0" "\x04\0\0\0" "\0\0\0\0"sv;
// clang-format on

using Bytes = std::vector<std::uint8_t>;

Bytes bytesOf(std::string_view characters) {
    return {characters.begin(), characters.end()};
}

Bytes moduleBytes() {
    std::ifstream file(TINTWELL_MODULE_PATH, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(Declaration, IsReadFromAModuleFile) {
    const Declaration declaration = readDeclaration(TINTWELL_MODULE_PATH);
    EXPECT_EQ(declaration.size, kList.size());
    EXPECT_EQ(declaration[Property::EffectVersion], Value(0x80600U));
    EXPECT_EQ(declaration[Property::InterfaceVersion], Value(Version{13, 2}));
    EXPECT_EQ(declaration[Property::EntryPoint], Value("main"));
    EXPECT_EQ(declaration[Property::MatchName], Value("ZQVN Tintwell"));
}

/// What is wrong, and at which byte; empty if nothing is.
std::string complaintAbout(const Bytes& list) {
    try {
        readPropertyList(ByteView(list));
    } catch (const FormatError& error) {
        return std::to_string(error.offset()) + ": " + error.what();
    }
    return {};
}

TEST(Declaration, ComplaintsSayWhatIsWrongWhere) {
    struct Damage {
        std::size_t offset;
        std::string_view bytes;
        const char* complaint;
    };

    constexpr Damage kDamages[] = {
        {0, "\2"sv, "0: the reserved number is 2 where 1 is due"},
        {2, "\1"sv, "2: the list's version is 1 where 0 is due"},
        {6, "\xb"sv, "6: the number of properties is 11 where 12 is due"},
        {10, "X"sv, "10: the vendor of property 'kind' (kind) is 'ZQVX' where 'ZQVN' is due"},
        {26, "X"sv, "26: property 'kind' (kind) is 'eFKX' and no effect"},
        {34, "X"sv, "34: the key of property 'name' (name) is 'namX' where 'name' is due"},
        {38, "\1"sv, "38: the id of property 'name' (name) is 1 where 0 is due"},
        {42, "\x26"sv, "46: property 'name' (name), for its length byte, is of 38 bytes where 37"},
        {42, "\0"sv, "46: property 'name' (name) is empty, without a length byte"},
        {46, "\x25"sv, "46: property 'name' (name), for its length byte, is of 37 bytes where 38"},
        {50, "\n"sv, "50: property 'name' (name) holds a byte that is no printable character"},
        {84, "\1"sv, "84: the padding of property 'name' (name) is not zero"},
        {98, "\xff\xff\xff\xff"sv, "102: the value of property 'catg' (category) runs past"},
        {170, "\x04"sv, "174: property '8664' (entry point) is of 4 bytes where 8 are due"},
        {174, "\0"sv, "174: property '8664' (entry point) is not a name and a zero byte"},
        {178, "main"sv, "182: property '8664' (entry point) is not a name and a zero byte"},
        {180, "x"sv, "180: property '8664' (entry point) goes on after its zero byte"},
        {194, "\2"sv, "198: property 'ePVR' (property version) is of 2 bytes where 4 are due"},
        {332, "x"sv, "332: property 'eMNA' (match name) does not end in a zero byte"},
        {354, "\0"sv, "354: 1 bytes follow the last property"},
    };
    EXPECT_EQ(complaintAbout(bytesOf(kList)), "");
    for (const Damage& damage : kDamages) {
        Bytes list = bytesOf(kList);
        list.resize(std::max(list.size(), damage.offset + damage.bytes.size()));
        std::ranges::copy(damage.bytes, list.begin() + static_cast<std::ptrdiff_t>(damage.offset));
        EXPECT_EQ(complaintAbout(list).rfind(damage.complaint, 0), 0U)
            << complaintAbout(list) << " but not: " << damage.complaint;
    }
    for (std::size_t size = 0; size < kList.size(); ++size) {
        const std::string complaint = complaintAbout(bytesOf(kList.substr(0, size)));
        EXPECT_NE(complaint.find("runs past the end"), std::string::npos) << size;
    }
}

void put(Bytes& file, std::size_t offset, std::uint32_t number, std::size_t size = 4) {
    for (std::size_t i = 0; i < size; ++i) {
        file[offset + i] = static_cast<std::uint8_t>(number >> 8 * i);
    }
}

/// The headers of a Windows module and one section with the three levels of directories.
Bytes windowsModule() {
    constexpr std::size_t kPe = 64;
    constexpr std::size_t kResources = 512;
    constexpr std::uint32_t kAddress = 0x5000;
    constexpr std::uint32_t kDirectory = 0x80000000U;
    Bytes file = bytesOf("MZ");
    file.resize(kResources + 128);
    put(file, 60, kPe);
    put(file, kPe, 0x4550);              // "PE"
    put(file, kPe + 6, 1, 2);            // sections
    put(file, kPe + 20, 240, 2);         // size of the optional header
    put(file, kPe + 24, 0x20b, 2);       // 64 bits
    put(file, kPe + 24 + 108, 16);       // data directories
    put(file, kPe + 24 + 128, kAddress); // of the resources
    const std::size_t section = kPe + 24 + 240;
    put(file, section + 12, kAddress);
    put(file, section + 16, 128 + kList.size());
    put(file, section + 20, kResources);
    put(file, kResources + 12, 1, 2); // by type: one with a name
    put(file, kResources + 16, kDirectory | 96);
    put(file, kResources + 20, kDirectory | 24);
    put(file, kResources + 24 + 14, 1, 2); // by id
    put(file, kResources + 24 + 16, 16000);
    put(file, kResources + 24 + 20, kDirectory | 48);
    put(file, kResources + 48 + 14, 1, 2); // by language
    put(file, kResources + 48 + 16, 1033);
    put(file, kResources + 48 + 20, 72);
    put(file, kResources + 72, kAddress + 128); // the data
    put(file, kResources + 76, kList.size());
    const Bytes name = bytesOf("\4\0P\0I\0P\0L\0"sv);
    std::ranges::copy(name, file.begin() + kResources + 96);
    std::ranges::copy(kList, std::back_inserter(file));
    return file;
}

/// Whether a list is found; what is read then, is read for the sanitizers to watch.
bool isFound(std::span<const std::uint8_t> file) {
    try {
        readPropertyList(findPropertyList(ByteView(file)));
        return true;
    } catch (const FormatError& error) {
        EXPECT_LE(error.offset(), file.size()) << error.what();
        return false;
    }
}

TEST(Declaration, IsFoundInBothKindsOfFilesAndDamagedOnesAreRefusedOrRead) {
    for (Bytes file : {moduleBytes(), windowsModule()}) {
        ASSERT_EQ(findPropertyList(ByteView(file)).characters(), kList);
        for (std::size_t size = 0; size < file.size(); size += size < 1024 ? 1 : 97) {
            EXPECT_FALSE(isFound(std::span(file).first(size))) << size;
        }
        // The headers of both kinds, the resources of one and the section table of the other.
        for (std::size_t i = 0; i < file.size(); i += i == 2048 ? file.size() - 4096 : 1) {
            for (const int byte : {0x00, 0x7f, 0x80, 0xff}) {
                const std::uint8_t before = std::exchange(file[i], static_cast<std::uint8_t>(byte));
                isFound(file);
                file[i] = before;
            }
        }
    }
}

TEST(Declaration, ErrorsNameTheFile) {
    constexpr std::pair<const char*, const char*> kCases[] = {
        {"no/such/module.so", "No such file"},
        {"/", "directory"},
        {"/proc/self/exe", "there is no section .tintwell_pipl"},
        {TEXT_FILE, "neither an ELF module nor one for Windows (byte 0"}};
    for (const auto& [file, reason] : kCases) {
        try {
            readDeclaration(file);
            ADD_FAILURE() << file << " was read";
        } catch (const DeclarationError& error) {
            const std::string message = error.what();
            EXPECT_NE(message.find(std::string("'") + file + "'"), std::string::npos) << message;
            EXPECT_NE(message.find(reason), std::string::npos) << message;
        }
    }
}

} // namespace
} // namespace tintwell::declaration
