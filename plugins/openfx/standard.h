#pragma once

// What the OpenFX image effect standard fixes and this plug-in, or its test host, makes use of: an
// open standard of the Academy Software Foundation (openeffects.org), written down here from its
// reference manual. Layouts of tables and the texts never change; hosts are compiled against them.
//
// Everything has a property set: named values, each an array of one type. A host calls a plug-in's
// one entry point with the name of an action; the plug-in calls back through suites, tables of
// functions that it asks the host for by name and version. Handles belong to the host. Times are
// frame numbers of the clip and may be fractional. Rows of images go from the bottom up.

#include <cstddef>

namespace tintwell::openfx {

using Status = int;

namespace status {
inline constexpr Status kOk = 0;
inline constexpr Status kFailed = 1;
inline constexpr Status kUnknown = 3;
inline constexpr Status kMissingHostFeature = 4;
inline constexpr Status kExists = 6;
inline constexpr Status kOutOfMemory = 8;
inline constexpr Status kBadHandle = 9;
inline constexpr Status kBadIndex = 10;
inline constexpr Status kReplyDefault = 14;
inline constexpr Status kImageFormat = 1000;
} // namespace status

// Handles, of objects that only the host knows.
using PropertySetHandle = struct PropertySetObject*;
using EffectHandle = struct EffectObject*;
using ClipHandle = struct ClipObject*;
using ParamHandle = struct ParamObject*;
using ParamSetHandle = struct ParamSetObject*;
using ImageMemoryHandle = struct ImageMemoryObject*;

struct RectD {
    double x1, y1, x2, y2;
};

struct Host {
    PropertySetHandle properties;
    const void* (*fetchSuite)(PropertySetHandle host, const char* name, int version);
};

using EntryPoint = Status(const char* action, const void* handle, PropertySetHandle inArgs,
                          PropertySetHandle outArgs);

struct Plugin {
    const char* api;
    int apiVersion;
    const char* identifier;
    unsigned versionMajor;
    unsigned versionMinor;
    void (*setHost)(Host* host);
    EntryPoint* mainEntry;
};

inline constexpr char kImageEffectApi[] = "OfxImageEffectPluginAPI";
inline constexpr int kImageEffectApiVersion = 1;

/// "OfxPropertySuite", version 1. Where a set has no such property, or of another type, the answer
/// is kUnknown; beyond its dimension it is kBadIndex. A text that is handed out belongs to the host
/// and may be gone with the next call.
struct PropertySuite {
    Status (*setPointer)(PropertySetHandle, const char* name, int index, void* value);
    Status (*setString)(PropertySetHandle, const char* name, int index, const char* value);
    Status (*setDouble)(PropertySetHandle, const char* name, int index, double value);
    Status (*setInt)(PropertySetHandle, const char* name, int index, int value);
    Status (*setPointerN)(PropertySetHandle, const char* name, int count, void* const* values);
    Status (*setStringN)(PropertySetHandle, const char* name, int count, const char* const* values);
    Status (*setDoubleN)(PropertySetHandle, const char* name, int count, const double* values);
    Status (*setIntN)(PropertySetHandle, const char* name, int count, const int* values);
    Status (*getPointer)(PropertySetHandle, const char* name, int index, void** value);
    Status (*getString)(PropertySetHandle, const char* name, int index, char** value);
    Status (*getDouble)(PropertySetHandle, const char* name, int index, double* value);
    Status (*getInt)(PropertySetHandle, const char* name, int index, int* value);
    Status (*getPointerN)(PropertySetHandle, const char* name, int count, void** values);
    Status (*getStringN)(PropertySetHandle, const char* name, int count, char** values);
    Status (*getDoubleN)(PropertySetHandle, const char* name, int count, double* values);
    Status (*getIntN)(PropertySetHandle, const char* name, int count, int* values);
    Status (*reset)(PropertySetHandle, const char* name);
    Status (*getDimension)(PropertySetHandle, const char* name, int* count);
};

/// "OfxImageEffectSuite", version 1. An image that was got is released before its action ends;
/// `region`, which may be null, is in canonical coordinates. Getting one answers kFailed where the
/// clip has no image.
struct ImageEffectSuite {
    Status (*getPropertySet)(EffectHandle, PropertySetHandle* properties);
    Status (*getParamSet)(EffectHandle, ParamSetHandle* params);
    Status (*clipDefine)(EffectHandle, const char* name, PropertySetHandle* properties);
    Status (*clipGetHandle)(EffectHandle, const char* name, ClipHandle* clip,
                            PropertySetHandle* properties);
    Status (*clipGetPropertySet)(ClipHandle, PropertySetHandle* properties);
    Status (*clipGetImage)(ClipHandle, double time, const RectD* region, PropertySetHandle* image);
    Status (*clipReleaseImage)(PropertySetHandle image);
    Status (*clipGetRegionOfDefinition)(ClipHandle, double time, RectD* bounds);
    int (*abort)(EffectHandle); ///< 1 where rendering is to end
    Status (*imageMemoryAlloc)(EffectHandle, std::size_t bytes, ImageMemoryHandle* memory);
    Status (*imageMemoryFree)(ImageMemoryHandle);
    Status (*imageMemoryLock)(ImageMemoryHandle, void** data);
    Status (*imageMemoryUnlock)(ImageMemoryHandle);
};

/// "OfxParameterSuite", version 1. A double's value is got into a double, a boolean's into an int.
struct ParameterSuite {
    Status (*paramDefine)(ParamSetHandle, const char* type, const char* name,
                          PropertySetHandle* properties);
    Status (*paramGetHandle)(ParamSetHandle, const char* name, ParamHandle* param,
                             PropertySetHandle* properties);
    Status (*paramSetGetPropertySet)(ParamSetHandle, PropertySetHandle* properties);
    Status (*paramGetPropertySet)(ParamHandle, PropertySetHandle* properties);
    Status (*paramGetValue)(ParamHandle, ...);
    Status (*paramGetValueAtTime)(ParamHandle, double time, ...);
    void* unused[12]; ///< derivatives, keys and changes of values
};

/// "OfxMessageSuite", version 1. `handle` is the instance's, `format` as printf's.
struct MessageSuite {
    Status (*message)(void* handle, const char* type, const char* id, const char* format, ...);
};

namespace suites {
inline constexpr char kProperty[] = "OfxPropertySuite";
inline constexpr char kImageEffect[] = "OfxImageEffectSuite";
inline constexpr char kParameter[] = "OfxParameterSuite";
inline constexpr char kMessage[] = "OfxMessageSuite";
} // namespace suites

namespace action {
inline constexpr char kLoad[] = "OfxActionLoad";
inline constexpr char kUnload[] = "OfxActionUnload";
inline constexpr char kDescribe[] = "OfxActionDescribe";
inline constexpr char kDescribeInContext[] = "OfxImageEffectActionDescribeInContext";
inline constexpr char kCreateInstance[] = "OfxActionCreateInstance";
inline constexpr char kDestroyInstance[] = "OfxActionDestroyInstance";
inline constexpr char kInstanceChanged[] = "OfxActionInstanceChanged";
inline constexpr char kPurgeCaches[] = "OfxActionPurgeCaches";
inline constexpr char kBeginSequenceRender[] = "OfxImageEffectActionBeginSequenceRender";
inline constexpr char kRender[] = "OfxImageEffectActionRender";
inline constexpr char kIsIdentity[] = "OfxImageEffectActionIsIdentity";
inline constexpr char kGetRegionsOfInterest[] = "OfxImageEffectActionGetRegionsOfInterest";
inline constexpr char kGetFramesNeeded[] = "OfxImageEffectActionGetFramesNeeded";
} // namespace action

/// Names of properties; the type and dimension of their values (N: any), and whose they are.
namespace property {
// Of several kinds of objects.
inline constexpr char kType[] = "OfxPropType";                   // string, of what is changed
inline constexpr char kName[] = "OfxPropName";                   // string
inline constexpr char kTime[] = "OfxPropTime";                   // double, an argument
inline constexpr char kLabel[] = "OfxPropLabel";                 // string
inline constexpr char kIsInteractive[] = "OfxPropIsInteractive"; // int, an argument
inline constexpr char kTemporalClipAccess[] =
    "OfxImageEffectPropTemporalClipAccess"; // int; host, effect, clip
inline constexpr char kSupportsTiles[] = "OfxImageEffectPropSupportsTiles"; // int; effect, clip
inline constexpr char kSupportedComponents[] =
    "OfxImageEffectPropSupportedComponents";                          // string N; clip
inline constexpr char kPixelDepth[] = "OfxImageEffectPropPixelDepth"; // string; clip, image
inline constexpr char kComponents[] = "OfxImageEffectPropComponents"; // string; clip, image
inline constexpr char kPreMultiplication[] =
    "OfxImageEffectPropPreMultiplication";                          // string; clip, image
inline constexpr char kFrameRate[] = "OfxImageEffectPropFrameRate"; // double; clip, instance
// Of an effect's descriptor.
inline constexpr char kVersion[] = "OfxPropVersion";                                // int N
inline constexpr char kVersionLabel[] = "OfxPropVersionLabel";                      // string
inline constexpr char kPluginDescription[] = "OfxPropPluginDescription";            // string
inline constexpr char kGrouping[] = "OfxImageEffectPluginPropGrouping";             // string
inline constexpr char kSupportedContexts[] = "OfxImageEffectPropSupportedContexts"; // string N
inline constexpr char kSupportedPixelDepths[] =
    "OfxImageEffectPropSupportedPixelDepths"; // string N
inline constexpr char kSupportsMultiResolution[] =
    "OfxImageEffectPropSupportsMultiResolution";                                              // int
inline constexpr char kSupportsMultipleClipDepths[] = "OfxImageEffectPropMultipleClipDepths"; // int
inline constexpr char kSingleInstance[] = "OfxImageEffectPluginPropSingleInstance";           // int
inline constexpr char kRenderThreadSafety[] = "OfxImageEffectPluginRenderThreadSafety"; // string
inline constexpr char kHostFrameThreading[] = "OfxImageEffectPluginPropHostFrameThreading"; // int
inline constexpr char kFieldRenderTwiceAlways[] =
    "OfxImageEffectPluginPropFieldRenderTwiceAlways"; // int
inline constexpr char kSequentialRender[] =
    "OfxImageEffectInstancePropSequentialRender"; // int; 2: is best, but any order is right
// Of a clip.
inline constexpr char kFieldExtraction[] = "OfxImageClipPropFieldExtraction"; // string
inline constexpr char kFrameRange[] =
    "OfxImageEffectPropFrameRange"; // double 2, first and last; clip, and argument
// Of an image.
inline constexpr char kData[] = "OfxImagePropData";         // pointer, to the pixel at x1, y1
inline constexpr char kBounds[] = "OfxImagePropBounds";     // int 4: x1 y1 x2 y2
inline constexpr char kRowBytes[] = "OfxImagePropRowBytes"; // int, may be negative
// Arguments of actions.
inline constexpr char kContext[] = "OfxImageEffectPropContext";           // string
inline constexpr char kRenderWindow[] = "OfxImageEffectPropRenderWindow"; // int 4, in pixels
inline constexpr char kRenderQualityDraft[] = "OfxImageEffectPropRenderQualityDraft";     // int
inline constexpr char kInteractiveRender[] = "OfxImageEffectPropInteractiveRenderStatus"; // int
inline constexpr char kSourceRegionOfInterest[] =
    "OfxImageClipPropRoI_Source"; // double 4, canonical coordinates
inline constexpr char kSourceFrameRange[] =
    "OfxImageClipPropFrameRange_Source"; // double N, pairs of first and last
// Of parameters.
inline constexpr char kParamDefault[] = "OfxParamPropDefault";       // as the parameter
inline constexpr char kParamMin[] = "OfxParamPropMin";               // double
inline constexpr char kParamMax[] = "OfxParamPropMax";               // double
inline constexpr char kParamDisplayMin[] = "OfxParamPropDisplayMin"; // double
inline constexpr char kParamDisplayMax[] = "OfxParamPropDisplayMax"; // double
inline constexpr char kParamIncrement[] = "OfxParamPropIncrement";   // double
inline constexpr char kParamDigits[] = "OfxParamPropDigits";         // int
inline constexpr char kParamDoubleType[] = "OfxParamPropDoubleType"; // string
inline constexpr char kParamHint[] = "OfxParamPropHint";             // string
inline constexpr char kParamScriptName[] = "OfxParamPropScriptName"; // string
inline constexpr char kParamAnimates[] = "OfxParamPropAnimates";     // int
inline constexpr char kParamEnabled[] = "OfxParamPropEnabled";       // int
inline constexpr char kParamParent[] = "OfxParamPropParent";         // string, a group's name
inline constexpr char kParamGroupOpen[] = "OfxParamPropGroupOpen";   // int; group
inline constexpr char kParamPageChild[] = "OfxParamPropPageChild";   // string N; page
} // namespace property

/// Values of string properties, types of parameters, names of clips.
namespace value {
inline constexpr char kFilter[] = "OfxImageEffectContextFilter";
inline constexpr char kRgba[] = "OfxImageComponentRGBA";
inline constexpr char kRgb[] = "OfxImageComponentRGB";
inline constexpr char kByte[] = "OfxBitDepthByte";   // white at 255
inline constexpr char kShort[] = "OfxBitDepthShort"; // white at 65535
inline constexpr char kFloat[] = "OfxBitDepthFloat"; // white at 1
inline constexpr char kOpaque[] = "OfxImageOpaque";
inline constexpr char kPremultiplied[] = "OfxImageAlphaPremultiplied";
inline constexpr char kUnpremultiplied[] = "OfxImageAlphaUnPremultiplied";
inline constexpr char kInstanceSafe[] = "OfxImageEffectRenderInstanceSafe";
inline constexpr char kFieldBoth[] = "OfxFieldBoth";
inline constexpr char kTypeClip[] = "OfxTypeClip";
inline constexpr char kParamDouble[] = "OfxParamTypeDouble";
inline constexpr char kParamBoolean[] = "OfxParamTypeBoolean";
inline constexpr char kParamGroup[] = "OfxParamTypeGroup";
inline constexpr char kParamPage[] = "OfxParamTypePage";
inline constexpr char kDoubleTypePlain[] = "OfxParamDoubleTypePlain";
inline constexpr char kSourceClip[] = "Source";
inline constexpr char kOutputClip[] = "Output";
inline constexpr char kMessageError[] = "OfxMessageError";
} // namespace value

} // namespace tintwell::openfx
