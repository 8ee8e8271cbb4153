#pragma once

// A host as a strict reading of the standard has it, on purpose without comfort: properties are
// known by object and type, texts are gone with the next call, images are freed when they are
// released and missed when they are not, and whatever is not as it should be becomes a complaint.
// What hosts do otherwise can be switched on.

#include "plugins/openfx/standard.h"

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <variant>
#include <vector>

namespace tintwell::openfx {

using PropertyValue = std::variant<int, double, std::string, void*>;

/// A property that an object has: its type is that of the value, its dimension 0 for any.
struct PropertyShape {
    PropertyValue type;
    int dimension;
    bool isForPlugin = false; ///< whether the plug-in may set it
};

using Shapes = std::map<std::string, PropertyShape>;

struct PropertySetObject {
    const Shapes* shapes = nullptr;
    std::map<std::string, std::vector<PropertyValue>> values;

    void set(const char* name, std::vector<PropertyValue> given) {
        values[name] = std::move(given);
    }
};

struct ClipObject {
    std::string name;
    PropertySetObject properties;
};

struct ParamObject {
    std::string type;
    PropertySetObject properties;
    std::function<double(double)> valueAt; ///< by time
};

struct ParamSetObject {
    std::map<std::string, ParamObject> params;
};

struct EffectObject {
    PropertySetObject properties;
    ParamSetObject params;
    std::map<std::string, ClipObject> clips;
};

/// A frame of floats, shorts or bytes R,G,B,A from the bottom row up, in memory of its own.
struct Picture {
    int width = 0;
    int height = 0;
    std::vector<std::byte> pixels; ///< rows without padding
};

/// How this host is, and what it does wrong.
struct Habits {
    bool hasTemporalAccess = true;
    bool givesCurrentFrameOnly = false; ///< whatever time it is asked for
    bool isUpsideDown = false;          ///< its row bytes are negative
    bool givesHollowImages = false;     ///< where the clip has none
    bool hasMessages = true;
    bool hasMessageFunction = true; ///< in the suite
    double firstFrame = 0.0;
    double lastFrame = 0.0;
    double frameRate = 0.0;
    const char* depth = value::kByte;
    const char* preMultiplication = value::kUnpremultiplied;
    int abortsAfter = -1;  ///< so many questions; -1 never
    int refusesImage = -1; ///< the number of the one it has no memory for; -1 none
};

/// What arguments of actions are.
const Shapes& argumentShapes();

/// Loads the bundle's file; one at a time.
class TestHost {
public:
    /// `source` has a picture for each frame of the clip, or none.
    TestHost(const Habits& habits, std::function<const Picture*(double)> source);
    TestHost(const TestHost&) = delete;
    TestHost& operator=(const TestHost&) = delete;
    ~TestHost();

    /// An instance of the effect in the filter context, with its initial values. Any thread.
    std::unique_ptr<EffectObject> create();
    void destroy(std::unique_ptr<EffectObject> instance);

    Status send(const char* action, EffectObject* instance, PropertySetObject* in,
                PropertySetObject* out);

    /// Renders a frame of the source's size. Any thread, each instance on one at a time.
    Status render(EffectObject& instance, double time, Picture& output, bool isDraft = false);

    /// What an action answers in these properties, or nothing where it leaves the default to the
    /// host.
    std::map<std::string, std::vector<PropertyValue>>
    ask(const char* action, EffectObject& instance, double time, const Shapes& answers);

    const EffectObject& descriptor() const { return descriptor_; }

    Habits habits;
    int imagesGiven = 0; ///< of the source
    std::vector<std::string> complaints;
    std::vector<std::string> messages;

private:
    friend struct TestSuites;

    struct Image {
        PropertySetObject properties;
        std::vector<std::byte> memory;
        Picture* output = nullptr;    ///< where the pixels go, of an image that is rendered into
        const void* thread = nullptr; ///< of the action that asked for it
    };

    void complain(const std::string& what);
    std::unique_ptr<Image> imageOf(const Picture& picture, Picture* output) const;
    void release(Image& image) const;

    std::function<const Picture*(double)> source_;
    std::recursive_mutex mutex_;
    void* library_ = nullptr;
    Plugin* plugin_ = nullptr;
    PropertySetObject properties_;
    Host host_{};
    EffectObject descriptor_;
    std::set<const void*> instances_;
    std::map<const void*, std::unique_ptr<Image>> images_;
};

} // namespace tintwell::openfx
