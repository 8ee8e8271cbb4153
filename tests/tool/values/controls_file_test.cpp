#include "tool/terminal/user_error.h"
#include "tool/values/control_catalog.h"
#include "tool/values/controls_file.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tintwell::tool {
namespace {

using host::Control;

std::string inControls(const std::string& members) {
    return "{\"version\": 1, \"controls\": {" + members + "}}";
}

std::string messageFor(const std::string& text) {
    try {
        parseControls(text, "f.json");
    } catch (const UserError& error) {
        EXPECT_EQ(error.exitCode(), ExitCode::Usage);
        return error.what();
    }
    return "(accepted)";
}

TEST(ControlsFile, ConstantsAndKeyframesGiveValuesOverTime) {
    const ControlSettings settings = parseControls(inControls(R"(
        "black-clip": 0.5,
        "scene-detect": [{"frame": 0, "value": true}, {"frame": 5, "value": false}],
        "blend-with-original": [{"frame": 10, "value": 0},
                                {"frame": 20, "value": 100, "interpolation": "hold"},
                                {"value": 50, "frame": 30, "interpolation": "linear"}])"),
                                                   "f.json");
    ASSERT_EQ(settings.size(), 3U);
    EXPECT_EQ(settings.at(Control::BlackClip).valueAt(7), 0.5);
    const host::ControlTrack& detect = settings.at(Control::SceneDetect);
    EXPECT_EQ(detect.valueAt(4), 1.0);
    EXPECT_EQ(detect.valueAt(5), 0.0);
    const host::ControlTrack& blend = settings.at(Control::BlendWithOriginal);
    EXPECT_EQ(blend.valueAt(0), 0.0);
    EXPECT_EQ(blend.valueAt(15), 50.0);
    EXPECT_EQ(blend.valueAt(29), 100.0);
    EXPECT_EQ(blend.valueAt(99), 50.0);
}

TEST(ControlsFile, TellsWhereItIsWrongAndWhatIsRight) {
    struct Case {
        std::string text;
        std::vector<std::string> parts;
    };

    const std::vector<Case> cases{
        {"", {"f.json, line 1", "not JSON"}},
        {"{\"version\": 1,\n \"controls\": {,}}", {"line 2", "not JSON", "column 15"}},
        {"[]", {"must be an object"}},
        {"{\"controls\": {}}", {"version", "missing"}},
        {"{\"version\": 2, \"controls\": {}}", {"version: 2", "use 1"}},
        {"{\"version\": 1.0, \"controls\": {}}", {"version: 1.0"}},
        {"{\"version\": 1}", {"controls", "missing"}},
        {"{\"version\": 1, \"controls\": []}", {"controls: must be an object"}},
        {"{\"version\": 1, \"controls\": {},\n\"author\": 3}", {"line 2", "author", "not known"}},
        {inControls("\n\"black\": 1"), {"line 2", "controls.black", "black-clip, white-clip"}},
        {inControls("\"black-clip\": 1,\n\n\"black-clip\": 1"), {"line 3", "twice"}},
        // The number's line ends right behind it, where the parser has already looked.
        {inControls("\"black-clip\":\n11\n"),
         {"line 2", "black-clip: 11", "between 0 and 10 (perc"}},
        {inControls("\"white-clip\": -0.01"), {"-0.01 is out of range"}},
        {inControls("\"white-clip\": 1e999"), {"not JSON", "overflow"}},
        {inControls("\"white-clip\": \"1\""), {"must be a number", "or a list of keyframes"}},
        {inControls("\"scene-detect\": 1"), {"scene-detect: 1 must be true or false"}},
        {inControls("\"black-clip\": []"), {"no keyframes"}},
        {inControls("\"black-clip\": [1]"), {"controls.black-clip[0]", "must be a keyframe"}},
        {inControls("\"black-clip\": [{\"frame\": 1}]"), {"black-clip[0]", "has no value"}},
        {inControls("\"black-clip\": [{\"value\": 1}]"), {"has no frame"}},
        {inControls("\"black-clip\": [{\"frame\": 1.5, \"value\": 1}]"), {"1.5 is not a frame"}},
        {inControls("\"black-clip\": [{\"frame\": -1, \"value\": 1}]"), {"-1 is not a frame"}},
        {inControls("\"black-clip\": [{\"frame\": 2147483648, \"value\": 1}]"), {"2147483647"}},
        {inControls("\"black-clip\": [{\"frame\": 18446744073709551615, \"value\": 1}]"),
         {"is not a frame"}},
        {inControls(
             "\"black-clip\": [{\"frame\": 3, \"value\": 1},\n{\"frame\": 3, \"value\": 2}]"),
         {"line 2", "black-clip[1].frame: 3 does not come after 3"}},
        {inControls("\"black-clip\": [{\"frame\": 3, \"value\": 1, \"ease\": 1}]"),
         {"black-clip[0].ease", "not known"}},
        {inControls(
             "\"black-clip\": [{\"frame\": 3, \"value\": 1, \"interpolation\": \"smooth\"}]"),
         {"\"smooth\"", "\"linear\" or \"hold\""}},
        {inControls("\"scene-detect\": [{\"frame\": 3, \"value\": true, "
                    "\"interpolation\": \"linear\"}]"),
         {"checkbox", "hold"}},
        {std::string(100000, '['), {"nested too deeply"}},
    };
    for (const Case& wrong : cases) {
        const std::string message = messageFor(wrong.text);
        for (const std::string& part : wrong.parts) {
            EXPECT_NE(message.find(part), std::string::npos)
                << "'" << part << "' is not in: " << message;
        }
    }
}

TEST(ControlsFile, TheTemplateSetsEveryControlToItsInitialValue) {
    const ControlSettings settings = parseControls(controlsTemplate(), "template");
    const host::ControlTracks initial = initialControls();
    ASSERT_EQ(settings.size(), controlCatalog().size());
    for (const auto& [control, track] : settings) {
        for (const std::int32_t frame : {0, 30, 100}) {
            EXPECT_EQ(track.valueAt(frame), initial[control].valueAt(frame));
        }
    }
    EXPECT_NE(controlsTemplate().find("\"frame\""), std::string::npos);
}

TEST(ControlsFile, UnreadableFileIsAFailureNotAWrongDocument) {
    for (const char* const path : {"/nonexistent/controls.json", "/"}) {
        try {
            readControlsFile(path);
            ADD_FAILURE() << path << " was read";
        } catch (const UserError& error) {
            EXPECT_EQ(error.exitCode(), ExitCode::Failed);
            EXPECT_NE(std::string(error.what()).find(path), std::string::npos) << error.what();
        }
    }
}

} // namespace
} // namespace tintwell::tool
