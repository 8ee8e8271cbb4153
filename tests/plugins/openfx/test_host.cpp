#include "test_host.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <stdexcept>

namespace tintwell::openfx {
namespace {

TestHost* theHost = nullptr;
thread_local double renderedTime = 0.0;
thread_local Picture* renderedOutput = nullptr;
thread_local const char* runningAction = "";
thread_local std::string handedOut; ///< the last text

const PropertyValue kInt = 0;
const PropertyValue kDouble = 0.0;
const PropertyValue kString = std::string();
const PropertyValue kPointer = static_cast<void*>(nullptr);

/// Properties of one type and dimension, that the plug-in may set or not.
Shapes shapesOf(const PropertyValue& type, int dimension, bool isForPlugin,
                std::initializer_list<const char*> names) {
    Shapes shapes;
    for (const char* name : names) {
        shapes[name] = {type, dimension, isForPlugin};
    }
    return shapes;
}

Shapes joined(std::initializer_list<Shapes> parts) {
    Shapes all;
    for (const Shapes& part : parts) {
        all.insert(part.begin(), part.end());
    }
    return all;
}

const Shapes kHostShapes = shapesOf(kInt, 1, false, {property::kTemporalClipAccess});
const Shapes kEffectShapes = joined({
    shapesOf(kString, 1, true,
             {property::kLabel, property::kVersionLabel, property::kPluginDescription,
              property::kGrouping, property::kRenderThreadSafety}),
    shapesOf(kString, 0, true, {property::kSupportedContexts, property::kSupportedPixelDepths}),
    shapesOf(kInt, 0, true, {property::kVersion}),
    shapesOf(kInt, 1, true,
             {property::kSingleInstance, property::kHostFrameThreading,
              property::kSupportsMultiResolution, property::kSupportsTiles,
              property::kTemporalClipAccess, property::kFieldRenderTwiceAlways,
              property::kSupportsMultipleClipDepths, property::kSequentialRender}),
});
const Shapes kInstanceShapes = joined({shapesOf(kString, 1, false, {property::kContext}),
                                       shapesOf(kDouble, 1, false, {property::kFrameRate})});
const Shapes kClipShapes = joined({
    shapesOf(kString, 0, true, {property::kSupportedComponents}),
    shapesOf(kString, 1, true, {property::kFieldExtraction}),
    shapesOf(kInt, 1, true, {property::kTemporalClipAccess, property::kSupportsTiles}),
    shapesOf(kDouble, 2, false, {property::kFrameRange}),
    shapesOf(kDouble, 1, false, {property::kFrameRate}),
});
const Shapes kImageShapes = joined({
    shapesOf(kString, 1, false,
             {property::kPixelDepth, property::kComponents, property::kPreMultiplication}),
    shapesOf(kPointer, 1, false, {property::kData}),
    shapesOf(kInt, 4, false, {property::kBounds}),
    shapesOf(kInt, 1, false, {property::kRowBytes}),
});
const Shapes kCommonParamShapes =
    joined({shapesOf(kString, 1, true,
                     {property::kLabel, property::kParamHint, property::kParamParent,
                      property::kParamScriptName}),
            shapesOf(kInt, 1, true, {property::kParamEnabled})});
const std::map<std::string, Shapes> kParamShapes = {
    {value::kParamDouble,
     joined({kCommonParamShapes,
             shapesOf(kDouble, 1, true,
                      {property::kParamDefault, property::kParamMin, property::kParamMax,
                       property::kParamDisplayMin, property::kParamDisplayMax,
                       property::kParamIncrement}),
             shapesOf(kInt, 1, true, {property::kParamDigits, property::kParamAnimates}),
             shapesOf(kString, 1, true, {property::kParamDoubleType})})},
    {value::kParamBoolean,
     joined({kCommonParamShapes,
             shapesOf(kInt, 1, true, {property::kParamDefault, property::kParamAnimates})})},
    {value::kParamGroup,
     joined({kCommonParamShapes, shapesOf(kInt, 1, true, {property::kParamGroupOpen})})},
    {value::kParamPage,
     joined({kCommonParamShapes, shapesOf(kString, 0, true, {property::kParamPageChild})})},
};

double initialOf(const ParamObject& param) {
    const auto found = param.properties.values.find(property::kParamDefault);
    if (found == param.properties.values.end()) {
        return 0.0;
    }
    const PropertyValue& initial = found->second.front();
    return param.type == value::kParamBoolean ? std::get<int>(initial) : std::get<double>(initial);
}

int bytesOfDepth(const std::string& depth) {
    return depth == value::kByte ? 1 : depth == value::kShort ? 2 : 4;
}

} // namespace

const Shapes& argumentShapes() {
    static const Shapes kShapes = joined({
        shapesOf(kDouble, 1, false, {property::kTime}),
        shapesOf(kString, 1, false, {property::kContext, property::kType}),
        shapesOf(kInt, 4, false, {property::kRenderWindow}),
        shapesOf(kInt, 1, false,
                 {property::kRenderQualityDraft, property::kInteractiveRender,
                  property::kIsInteractive}),
    });
    return kShapes;
}

/// The functions of the suites.
struct TestSuites {
    /// The shape of a property, or a complaint.
    static Status check(PropertySetHandle set, const char* name, const PropertyValue& type,
                        int index, bool isSet) {
        const std::string access = std::string(isSet ? " set " : " get ") + name;
        const std::scoped_lock lock(theHost->mutex_);
        handedOut.assign(handedOut.size(), '#');
        if (set == nullptr || set->shapes == nullptr) {
            theHost->complain("no property set:" + access);
            return status::kBadHandle;
        }
        const auto found = set->shapes->find(name);
        if (found == set->shapes->end() || found->second.type.index() != type.index() ||
            (isSet && !found->second.isForPlugin)) {
            theHost->complain("not a property of this object, type or side:" + access);
            return status::kUnknown;
        }
        if (index < 0 || (found->second.dimension > 0 && index >= found->second.dimension)) {
            theHost->complain("beyond the dimension:" + access);
            return status::kBadIndex;
        }
        return status::kOk;
    }

    template <class Stored, class Value>
    static Status set(PropertySetHandle set, const char* name, int index, Value value) {
        const Status checked = check(set, name, Stored{}, index, true);
        if (checked == status::kOk) {
            std::vector<PropertyValue>& values = set->values[name];
            values.resize(std::max(values.size(), static_cast<std::size_t>(index) + 1), Stored{});
            values[static_cast<std::size_t>(index)] = Stored(value);
        }
        return checked;
    }

    template <class Stored>
    static const Stored* find(PropertySetHandle set, const char* name, int index, Status& checked) {
        checked = check(set, name, Stored{}, index, false);
        if (checked != status::kOk) {
            return nullptr;
        }
        const auto found = set->values.find(name);
        if (found == set->values.end() || static_cast<std::size_t>(index) >= found->second.size()) {
            checked = status::kUnknown; // one that a host need not have
            return nullptr;
        }
        return &std::get<Stored>(found->second[static_cast<std::size_t>(index)]);
    }

    template <class Stored>
    static Status get(PropertySetHandle set, const char* name, int index, Stored* value) {
        Status checked = status::kOk;
        if (const Stored* stored = find<Stored>(set, name, index, checked)) {
            *value = *stored;
        }
        return checked;
    }

    static Status getString(PropertySetHandle set, const char* name, int index, char** value) {
        Status checked = status::kOk;
        if (const auto* stored = find<std::string>(set, name, index, checked)) {
            handedOut = *stored;
            *value = handedOut.data();
        }
        return checked;
    }

    static bool isEffect(EffectHandle effect) {
        const std::scoped_lock lock(theHost->mutex_);
        const bool known = effect == &theHost->descriptor_ || theHost->instances_.contains(effect);
        if (!known) {
            theHost->complain("no effect's handle");
        }
        return known;
    }

    static Status getPropertySet(EffectHandle effect, PropertySetHandle* properties) {
        *properties = isEffect(effect) ? &effect->properties : nullptr;
        return *properties != nullptr ? status::kOk : status::kBadHandle;
    }

    static Status getParamSet(EffectHandle effect, ParamSetHandle* params) {
        *params = isEffect(effect) ? &effect->params : nullptr;
        return *params != nullptr ? status::kOk : status::kBadHandle;
    }

    static Status clipDefine(EffectHandle effect, const char* name, PropertySetHandle* properties) {
        if (std::strcmp(runningAction, action::kDescribeInContext) != 0) {
            theHost->complain("a clip is defined outside of the description");
        }
        ClipObject& clip = effect->clips[name];
        clip.name = name;
        clip.properties.shapes = &kClipShapes;
        *properties = &clip.properties;
        return status::kOk;
    }

    static Status clipGetHandle(EffectHandle effect, const char* name, ClipHandle* clip,
                                PropertySetHandle* properties) {
        const auto found = effect->clips.find(name);
        if (!isEffect(effect) || found == effect->clips.end()) {
            return status::kBadHandle;
        }
        *clip = &found->second;
        if (properties != nullptr) {
            *properties = &found->second.properties;
        }
        return status::kOk;
    }

    static Status clipGetPropertySet(ClipHandle clip, PropertySetHandle* properties) {
        *properties = &clip->properties;
        return status::kOk;
    }

    static Status clipGetImage(ClipHandle clip, double time, const RectD*,
                               PropertySetHandle* image) {
        const std::scoped_lock lock(theHost->mutex_);
        const Habits& habits = theHost->habits;
        const bool isOutput = clip->name == value::kOutputClip;
        if (std::strcmp(runningAction, action::kRender) != 0) {
            theHost->complain("an image is wanted by another action than rendering");
        }
        if (time != renderedTime && (isOutput || !habits.hasTemporalAccess)) {
            theHost->complain("an image of another time, to which there is no access");
        }
        if (!isOutput && theHost->imagesGiven++ == habits.refusesImage) {
            return status::kOutOfMemory;
        }
        const Picture* picture =
            isOutput ? renderedOutput
                     : theHost->source_(habits.givesCurrentFrameOnly ? renderedTime : time);
        if (picture == nullptr && !habits.givesHollowImages) {
            return status::kFailed;
        }
        auto made = theHost->imageOf(picture != nullptr ? *picture : Picture(),
                                     isOutput ? renderedOutput : nullptr);
        if (picture == nullptr) {
            made->properties.values.erase(property::kData);
        }
        *image = &made->properties;
        theHost->images_[*image] = std::move(made);
        return status::kOk;
    }

    static Status clipReleaseImage(PropertySetHandle image) {
        const std::scoped_lock lock(theHost->mutex_);
        const auto found = theHost->images_.find(image);
        if (found == theHost->images_.end()) {
            theHost->complain("no image's handle, or one that was released before");
            return status::kBadHandle;
        }
        theHost->release(*found->second);
        theHost->images_.erase(found);
        return status::kOk;
    }

    static Status clipGetRegionOfDefinition(ClipHandle, double time, RectD* bounds) {
        const Picture* picture = theHost->source_(time);
        *bounds = {0.0, 0.0, 0.0 + picture->width, 0.0 + picture->height};
        return status::kOk;
    }

    static int abort(EffectHandle effect) {
        isEffect(effect);
        const std::scoped_lock lock(theHost->mutex_);
        return theHost->habits.abortsAfter >= 0 && theHost->habits.abortsAfter-- == 0 ? 1 : 0;
    }

    static Status paramDefine(ParamSetHandle params, const char* type, const char* name,
                              PropertySetHandle* properties) {
        ParamObject& param = params->params[name];
        const auto shapes = kParamShapes.find(type);
        if (shapes == kParamShapes.end() || !param.type.empty()) {
            theHost->complain(std::string("an unknown type, or defined twice: ") + name);
            return status::kExists;
        }
        param.type = type;
        param.properties.shapes = &shapes->second;
        *properties = &param.properties;
        return status::kOk;
    }

    static Status paramGetHandle(ParamSetHandle params, const char* name, ParamHandle* param,
                                 PropertySetHandle*) {
        const auto found = params->params.find(name);
        if (found == params->params.end()) {
            theHost->complain(std::string("no such parameter: ") + name);
            return status::kUnknown;
        }
        *param = &found->second;
        return status::kOk;
    }

    static Status paramGetValueAtTime(ParamHandle param, double time, ...) {
        va_list arguments;
        va_start(arguments, time);
        if (param->type == value::kParamBoolean) {
            *va_arg(arguments, int*) = static_cast<int>(param->valueAt(time));
        } else {
            *va_arg(arguments, double*) = param->valueAt(time);
        }
        va_end(arguments);
        return status::kOk;
    }

    static Status message(void*, const char*, const char*, const char* format, ...) {
        char text[512];
        va_list arguments;
        va_start(arguments, format);
        std::vsnprintf(text, sizeof text, format, arguments);
        va_end(arguments);
        const std::scoped_lock lock(theHost->mutex_);
        theHost->messages.emplace_back(text);
        return status::kOk;
    }

    static const void* fetch(PropertySetHandle, const char* name, int version) {
        static PropertySuite properties{};
        properties.setString = &TestSuites::set<std::string, const char*>;
        properties.setDouble = &TestSuites::set<double, double>;
        properties.setInt = &TestSuites::set<int, int>;
        properties.getPointer = &TestSuites::get<void*>;
        properties.getString = &TestSuites::getString;
        properties.getDouble = &TestSuites::get<double>;
        properties.getInt = &TestSuites::get<int>;
        static ImageEffectSuite effects{};
        effects = {getPropertySet,
                   getParamSet,
                   clipDefine,
                   clipGetHandle,
                   clipGetPropertySet,
                   clipGetImage,
                   clipReleaseImage,
                   clipGetRegionOfDefinition,
                   abort,
                   nullptr,
                   nullptr,
                   nullptr,
                   nullptr};
        static ParameterSuite params{};
        params.paramDefine = paramDefine;
        params.paramGetHandle = paramGetHandle;
        params.paramGetValueAtTime = paramGetValueAtTime;
        static MessageSuite messages{};
        messages.message = theHost->habits.hasMessageFunction ? message : nullptr;
        const std::map<std::string, const void*> suites = {
            {suites::kProperty, &properties},
            {suites::kImageEffect, &effects},
            {suites::kParameter, &params},
            {suites::kMessage, theHost->habits.hasMessages ? &messages : nullptr}};
        const auto found = suites.find(name);
        return version == 1 && found != suites.end() ? found->second : nullptr;
    }
};

TestHost::TestHost(const Habits& given, std::function<const Picture*(double)> source)
    : habits(given), source_(std::move(source)) {
    theHost = this;
    library_ = dlopen(TINTWELL_OPENFX_PATH, RTLD_NOW | RTLD_LOCAL);
    if (library_ == nullptr) {
        throw std::runtime_error(dlerror());
    }
    const auto count = reinterpret_cast<int (*)()>(dlsym(library_, "OfxGetNumberOfPlugins"));
    const auto get = reinterpret_cast<Plugin* (*)(int)>(dlsym(library_, "OfxGetPlugin"));
    plugin_ = count() == 1 ? get(0) : nullptr;
    if (plugin_ == nullptr || get(1) != nullptr) {
        throw std::runtime_error("the bundle does not have one plug-in");
    }
    properties_.shapes = &kHostShapes;
    properties_.set(property::kTemporalClipAccess, {habits.hasTemporalAccess ? 1 : 0});
    host_ = {&properties_, &TestSuites::fetch};
    plugin_->setHost(&host_);
    send(action::kLoad, nullptr, nullptr, nullptr);
    descriptor_.properties.shapes = &kEffectShapes;
    send(action::kDescribe, &descriptor_, nullptr, nullptr);
    PropertySetObject context{&argumentShapes(), {}};
    context.set(property::kContext, {std::string(value::kFilter)});
    send(action::kDescribeInContext, &descriptor_, &context, nullptr);
}

TestHost::~TestHost() {
    send(action::kUnload, nullptr, nullptr, nullptr);
    dlclose(library_);
    theHost = nullptr;
}

void TestHost::complain(const std::string& what) {
    complaints.push_back(std::string(runningAction) + ": " + what);
}

Status TestHost::send(const char* name, EffectObject* instance, PropertySetObject* in,
                      PropertySetObject* out) {
    runningAction = name;
    std::string passed = name; // gone, too, when the call is over
    const Status answered = plugin_->mainEntry(passed.c_str(), instance, in, out);
    const std::scoped_lock lock(mutex_);
    const auto left = std::erase_if(
        images_, [](const auto& image) { return image.second->thread == &renderedTime; });
    if (left > 0) {
        complain("images were not released");
    }
    runningAction = "";
    return answered;
}

std::unique_ptr<EffectObject> TestHost::create() {
    auto instance = std::make_unique<EffectObject>(descriptor_);
    instance->properties = {&kInstanceShapes, {}};
    for (auto& [name, clip] : instance->clips) {
        clip.properties.set(property::kFrameRange, {habits.firstFrame, habits.lastFrame});
        if (habits.frameRate > 0.0) {
            clip.properties.set(property::kFrameRate, {habits.frameRate});
        }
    }
    for (auto& [name, param] : instance->params.params) {
        param.valueAt = [initial = initialOf(param)](double) { return initial; };
    }
    {
        const std::scoped_lock lock(mutex_);
        instances_.insert(instance.get());
    }
    if (send(action::kCreateInstance, instance.get(), nullptr, nullptr) != status::kOk) {
        throw std::runtime_error("no instance");
    }
    return instance;
}

void TestHost::destroy(std::unique_ptr<EffectObject> instance) {
    send(action::kDestroyInstance, instance.get(), nullptr, nullptr);
    const std::scoped_lock lock(mutex_);
    instances_.erase(instance.get());
}

std::unique_ptr<TestHost::Image> TestHost::imageOf(const Picture& picture, Picture* output) const {
    constexpr int kPadding = 6;
    auto image = std::make_unique<Image>();
    const int pixelBytes = 4 * bytesOfDepth(habits.depth);
    const int rowBytes = picture.width * pixelBytes;
    const int step = rowBytes + kPadding;
    image->memory.resize(static_cast<std::size_t>(step) * static_cast<std::size_t>(picture.height),
                         std::byte{0xdd});
    const auto rowAt = [&](int y) {
        const int place = habits.isUpsideDown ? picture.height - 1 - y : y;
        return image->memory.data() + static_cast<std::ptrdiff_t>(place) * step;
    };
    for (int y = 0; output == nullptr && y < picture.height; ++y) {
        std::memcpy(rowAt(y), picture.pixels.data() + static_cast<std::ptrdiff_t>(y) * rowBytes,
                    static_cast<std::size_t>(rowBytes));
    }
    image->output = output;
    image->thread = &renderedTime;
    PropertySetObject& properties = image->properties;
    properties.shapes = &kImageShapes;
    properties.set(property::kData, {static_cast<void*>(rowAt(0))});
    properties.set(property::kRowBytes, {habits.isUpsideDown ? -step : step});
    properties.set(property::kBounds, {3, -2, 3 + picture.width, picture.height - 2});
    properties.set(property::kPixelDepth, {std::string(habits.depth)});
    properties.set(property::kComponents, {std::string(value::kRgba)});
    properties.set(property::kPreMultiplication, {std::string(habits.preMultiplication)});
    return image;
}

/// Before its memory goes.
void TestHost::release(Image& image) const {
    if (image.output == nullptr) {
        return;
    }
    const auto row = static_cast<std::size_t>(image.output->width * 4 * bytesOfDepth(habits.depth));
    const int step = std::get<int>(image.properties.values[property::kRowBytes][0]);
    const auto* bottom =
        static_cast<const std::byte*>(std::get<void*>(image.properties.values[property::kData][0]));
    image.output->pixels.clear();
    for (int y = 0; y < image.output->height; ++y) {
        const std::byte* begin = bottom + std::ptrdiff_t{y} * step;
        image.output->pixels.insert(image.output->pixels.end(), begin, begin + row);
    }
}

Status TestHost::render(EffectObject& instance, double time, Picture& output, bool isDraft) {
    const Picture* source = source_(time);
    output.width = source->width;
    output.height = source->height;
    renderedTime = time;
    renderedOutput = &output;
    PropertySetObject in{&argumentShapes(), {}};
    in.set(property::kTime, {time});
    in.set(property::kRenderWindow, {3, -2, 3 + source->width, source->height - 2});
    in.set(property::kRenderQualityDraft, {isDraft ? 1 : 0});
    return send(action::kRender, &instance, &in, nullptr);
}

std::map<std::string, std::vector<PropertyValue>>
TestHost::ask(const char* name, EffectObject& instance, double time, const Shapes& answers) {
    PropertySetObject in{&argumentShapes(), {}};
    in.set(property::kTime, {time});
    PropertySetObject out{&answers, {}};
    const Status answered = send(name, &instance, &in, &out);
    if (answered != status::kOk && answered != status::kReplyDefault) {
        complain("the answer is an error");
    }
    return out.values;
}

} // namespace tintwell::openfx
