#pragma once

// The records, callbacks and function tables through which a compositing host and the effect
// module talk: the host's 64-bit binary interface. The layouts are fixed by the host; the asserts
// below hold every offset and size that is used. Bytes named `reserved` belong to the host and are
// never read or written by the module.
//
// Strings are zero-terminated. Callbacks use the platform's C calling convention. A callback,
// table or record pointer may be null, which the module answers with error code 512.

#include "module/interface/error_codes.h"

#include <cstddef>
#include <cstdint>

namespace tintwell {

/// The number the host passes as the first argument of the module's `main`.
enum class Command : std::int32_t {
    About = 0,
    GlobalSetup = 1,
    GlobalSetdown = 3,
    ParamsSetup = 4,
    SequenceSetup = 5,
    SequenceResetup = 6,
    SequenceSetdown = 8,
    FrameSetup = 10,
    Render = 11,
    UserChangedParam = 13,
    UpdateParamsUI = 14,
};

/// A host-owned memory block that the host may move: a pointer to the pointer to the block.
using HostHandle = void**;

/// A four-character code; its most significant byte is the first character.
constexpr std::uint32_t fourCharCode(const char (&text)[5]) {
    std::uint32_t code = 0;
    for (std::size_t i = 0; i < 4; ++i) {
        code = code << 8U | static_cast<unsigned char>(text[i]);
    }
    return code;
}

/// The host's interleaved pixel buffer: four channels per pixel, either 8 bits (0..255) or
/// 16 bits (0..32768) each. The pixel in column x of row y starts at
/// `data + y * rowBytes + x * 4 * (bytes per sample)`; rows may be padded, and rowBytes may be
/// negative. A width or height at or below 0 is an empty frame. The host owns the pixels.
struct EffectWorld {
    std::byte reserved0[16];
    std::uint32_t flags;
    std::byte reserved20[4];
    void* data;
    std::int32_t rowBytes; ///< bytes from the start of a row to the start of the next
    std::int32_t width;    ///< pixels
    std::int32_t height;   ///< rows
    std::byte reserved44[4];
};

inline constexpr std::uint32_t kWorldFlag16Bit = 1;

static_assert(offsetof(EffectWorld, flags) == 16);
static_assert(offsetof(EffectWorld, data) == 24);
static_assert(offsetof(EffectWorld, rowBytes) == 32);
static_assert(offsetof(EffectWorld, width) == 36);
static_assert(offsetof(EffectWorld, height) == 40);
static_assert(sizeof(EffectWorld) == 48);

enum class ControlType : std::int32_t {
    Layer = 0, ///< the input frames; always parameter 0
    Checkbox = 4,
    FloatSlider = 10,
};

namespace control_flags {
/// The slider's disclosure arrow is closed at first.
inline constexpr std::uint32_t kStartCollapsed = 32;
/// The host reports each change of the control with command UserChangedParam.
inline constexpr std::uint32_t kSupervise = 64;
} // namespace control_flags

/// Set in ParamDef::uiFlags: the control is shown greyed out.
inline constexpr std::uint32_t kUiFlagDisabled = 32;
/// Slider display flag: the value is a percentage.
inline constexpr std::int16_t kDisplayAsPercent = 1;

struct FloatSliderParam {
    double value;
    std::byte reserved8[40];
    float validMinimum;
    float validMaximum;
    float sliderMinimum;
    float sliderMaximum;
    float defaultValue;
    std::int16_t precision; ///< decimal places shown
    std::int16_t displayFlags;
};

struct CheckboxParam {
    std::int32_t value;
    std::uint8_t defaultValue;
    std::byte reserved5[3];
    const char* label;
};

/// The host's parameter record: declares a control, and carries its value to a render. Which part
/// of the union is in use follows `type`.
struct ParamDef {
    std::uint32_t id;
    std::uint32_t uiFlags;
    std::int16_t uiWidth;
    std::int16_t uiHeight;
    ControlType type;
    char name[32];
    std::uint32_t flags;
    std::byte reserved52[4];

    union {
        FloatSliderParam slider;
        CheckboxParam checkbox;
        EffectWorld layer;
        std::byte reserved56[120];
    };
};

static_assert(offsetof(ParamDef, uiFlags) == 4);
static_assert(offsetof(ParamDef, uiWidth) == 8);
static_assert(offsetof(ParamDef, uiHeight) == 10);
static_assert(offsetof(ParamDef, type) == 12);
static_assert(offsetof(ParamDef, name) == 16);
static_assert(offsetof(ParamDef, flags) == 48);
static_assert(offsetof(ParamDef, slider) == 56);
static_assert(offsetof(ParamDef, layer) == 56);
static_assert(offsetof(ParamDef, checkbox.defaultValue) == 60);
static_assert(offsetof(ParamDef, checkbox.label) == 64);
static_assert(offsetof(ParamDef, slider.validMinimum) == 104);
static_assert(offsetof(ParamDef, slider.validMaximum) == 108);
static_assert(offsetof(ParamDef, slider.sliderMinimum) == 112);
static_assert(offsetof(ParamDef, slider.sliderMaximum) == 116);
static_assert(offsetof(ParamDef, slider.defaultValue) == 120);
static_assert(offsetof(ParamDef, slider.precision) == 124);
static_assert(offsetof(ParamDef, slider.displayFlags) == 126);
static_assert(sizeof(ParamDef) == 176);

/// What the module hands the host to register its texts: `entries` whose first words point at key
/// strings of the form "key=default text". The last of the `count` entries is null.
struct StringTableEntry {
    const char* keyString;
    std::byte reserved8[24];
};

struct StringTableDescriptor {
    const char* name;
    std::int64_t count;
    const StringTableEntry* entries;
};

static_assert(sizeof(StringTableEntry) == 32);
static_assert(sizeof(StringTableDescriptor) == 24);

/// Opaque to the module: equal tokens mean equal control values over the whole clip.
struct StateToken {
    std::byte bytes[16];
};

static_assert(sizeof(StateToken) == 16);

/// Function table of "PF Handle Suite" version 2.
struct HandleSuite {
    HostHandle (*newHandle)(std::uint64_t bytes); ///< null, or a handle of null, when out of memory
    void* reserved1[2];
    void (*disposeHandle)(HostHandle handle);
};

static_assert(offsetof(HandleSuite, disposeHandle) == 3 * sizeof(void*));
inline constexpr char kHandleSuiteName[] = "PF Handle Suite";
inline constexpr std::int32_t kHandleSuiteVersion = 2;

/// Function table of "PF Param Utils Suite" version 3.
struct ParamUtilsSuite {
    ErrorCode (*updateParamUI)(std::uint64_t effectReference, std::int32_t index,
                               const ParamDef* param);
    /// Index 0 with no start and no duration asks for the state of all parameters.
    ErrorCode (*getCurrentState)(std::uint64_t effectReference, std::int32_t index,
                                 const void* start, const void* duration, StateToken* state);
    ErrorCode (*areStatesIdentical)(std::uint64_t effectReference, const StateToken* a,
                                    const StateToken* b, std::uint8_t* identical);
    void* reserved3;
    ErrorCode (*findKeyframeTime)(std::uint64_t effectReference, std::int32_t index,
                                  std::int32_t time, std::uint32_t timeScale,
                                  std::int32_t direction, std::uint8_t* found,
                                  std::int32_t* keyIndex, std::int32_t* keyTime,
                                  std::uint32_t* keyTimeScale);
};

static_assert(offsetof(ParamUtilsSuite, findKeyframeTime) == 4 * sizeof(void*));
inline constexpr char kParamUtilsSuiteName[] = "PF Param Utils Suite";
inline constexpr std::int32_t kParamUtilsSuiteVersion = 3;

struct SuiteProvider {
    ErrorCode (*acquire)(const char* name, std::int32_t version, const void** suite);
    ErrorCode (*release)(const char* name, std::int32_t version);
};

static_assert(sizeof(SuiteProvider) == 2 * sizeof(void*));

/// The slots of the host's utility table that the module uses.
struct UtilityCallbacks {
    std::byte reserved0[328];
    int (*format)(char* destination, const char* format, ...);  ///< as sprintf
    char* (*copyString)(char* destination, const char* source); ///< as strcpy
};

static_assert(offsetof(UtilityCallbacks, format) == 328);
static_assert(offsetof(UtilityCallbacks, copyString) == 336);

using CheckoutParameterCallback = ErrorCode (*)(std::uint64_t effectReference, std::int32_t index,
                                                std::int32_t time, std::int32_t timeStep,
                                                std::uint32_t timeScale, ParamDef* param);
using CheckinParameterCallback = ErrorCode (*)(std::uint64_t effectReference, ParamDef* param);
/// Index -1 appends. The host copies the record.
using AddParameterCallback = ErrorCode (*)(std::uint64_t effectReference, std::int32_t index,
                                           ParamDef* param);
/// A non-zero answer asks the module to stop and to return that code.
using AbortCallback = ErrorCode (*)(std::uint64_t effectReference);
/// `*table` points at a StringTableDescriptor on entry and holds the reference to keep on return.
using RegisterStringTableCallback = ErrorCode (*)(void** table, std::int32_t id,
                                                  const char* plainName);
/// The text belongs to the host; null counts as an empty text.
using LookupStringCallback = const char* (*)(void* table, std::int32_t index, std::int32_t,
                                             std::int32_t);
using ReleaseStringTableCallback = ErrorCode (*)(void** table, void* globalHandleContent,
                                                 void* tableReference);

/// Handed to every command. The module reads it, and writes the two handles that it makes.
/// Times are in units of 1 / timeScale seconds.
struct InData {
    CheckoutParameterCallback checkoutParameter;
    CheckinParameterCallback checkinParameter;
    AddParameterCallback addParameter;
    AbortCallback abort; ///< may be null: then nothing ever aborts
    std::byte reserved32[64];
    RegisterStringTableCallback registerStringTable;
    LookupStringCallback lookupString;
    ReleaseStringTableCallback releaseStringTable;
    std::byte reserved120[56];
    const UtilityCallbacks* utilities;
    std::uint64_t effectReference;
    std::int32_t quality; ///< kQualityHigh, or anything else for a draft
    std::byte reserved196[8];
    std::uint32_t applicationCode;
    std::byte reserved208[16];
    std::int32_t currentTime;
    std::int32_t timeStep; ///< duration of one frame; may be negative
    std::int32_t totalDuration;
    std::int32_t localTimeStep;
    std::uint32_t timeScale;
    std::byte reserved244[68];
    HostHandle globalData;
    HostHandle sequenceData;
    std::byte reserved328[56];
    const SuiteProvider* suiteProvider;
};

inline constexpr std::int32_t kQualityHigh = 1;
/// The application whose pixels come in B,G,R,A order; all others use A,R,G,B.
inline constexpr std::uint32_t kApplicationWithBgraPixels = fourCharCode("BGRA");

static_assert(offsetof(InData, checkinParameter) == 8);
static_assert(offsetof(InData, addParameter) == 16);
static_assert(offsetof(InData, abort) == 24);
static_assert(offsetof(InData, registerStringTable) == 96);
static_assert(offsetof(InData, lookupString) == 104);
static_assert(offsetof(InData, releaseStringTable) == 112);
static_assert(offsetof(InData, utilities) == 176);
static_assert(offsetof(InData, effectReference) == 184);
static_assert(offsetof(InData, quality) == 192);
static_assert(offsetof(InData, applicationCode) == 204);
static_assert(offsetof(InData, currentTime) == 224);
static_assert(offsetof(InData, timeStep) == 228);
static_assert(offsetof(InData, totalDuration) == 232);
static_assert(offsetof(InData, localTimeStep) == 236);
static_assert(offsetof(InData, timeScale) == 240);
static_assert(offsetof(InData, globalData) == 312);
static_assert(offsetof(InData, sequenceData) == 320);
static_assert(offsetof(InData, suiteProvider) == 384);
static_assert(sizeof(InData) == 392);

/// Handed to every command; the module writes the fields that the command is about.
struct OutData {
    std::uint32_t version;
    std::byte reserved4[36];
    HostHandle globalData;
    std::int32_t parameterCount;
    std::byte reserved52[4];
    HostHandle sequenceData;
    std::byte reserved64[32];
    std::uint32_t outFlags;
    char message[256];
    std::byte reserved356[44];
    std::uint32_t outFlags2;
    std::byte reserved404[4];
};

/// Set in OutData::outFlags: the host shows the user that the command failed.
inline constexpr std::uint32_t kOutFlagShowError = 256;

static_assert(offsetof(OutData, globalData) == 40);
static_assert(offsetof(OutData, parameterCount) == 48);
static_assert(offsetof(OutData, sequenceData) == 56);
static_assert(offsetof(OutData, outFlags) == 96);
static_assert(offsetof(OutData, message) == 100);
static_assert(offsetof(OutData, outFlags2) == 400);
static_assert(sizeof(OutData) == 408);

/// The `extra` record of command UserChangedParam.
struct UserChangedParamExtra {
    std::int32_t parameterIndex;
};

/// The exported function `main`. `params[0]` is the input layer, 1 to 6 are the controls.
using EffectMain = ErrorCode(std::int32_t command, InData* inData, OutData* outData,
                             ParamDef** params, EffectWorld* output, void* extra);

} // namespace tintwell
