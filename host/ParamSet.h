#pragma once
// Resolves "--set NAME=VALUE" through the plug-in's own parameter names and
// display strings, the way a user reads them in a DAW's generic editor:
// "Gain 1.0KHz=6" finds the parameter named "Gain 1.0KHz" and the normalised
// value whose display string reads 6. "INDEX=NORMALISED" sets a raw value.
#include <string>
#include <vector>

namespace ghost {

class VstPlugin;

// What the resolver needs from a plug-in; VstPlugin provides it, tests can
// provide synthetic parameters.
class ParamAccess {
public:
    virtual ~ParamAccess() = default;
    virtual int Count() = 0;
    virtual std::string Name(int index) = 0;
    virtual std::string Label(int index) = 0;
    virtual std::string Display(int index) = 0;  // of the current value
    virtual void Set(int index, float normalised) = 0;
};

class PluginParamAccess : public ParamAccess {
public:
    explicit PluginParamAccess(VstPlugin& plugin) : m_plugin(plugin) {}
    int Count() override;
    std::string Name(int index) override;
    std::string Label(int index) override;
    std::string Display(int index) override;
    void Set(int index, float normalised) override;

private:
    VstPlugin& m_plugin;
};

struct ParamSetting {
    int index = -1;
    std::string name;     // the plug-in's name for it
    float normalised = 0;
    std::string display;  // what the plug-in shows for the value set
    std::string label;
    std::string note;     // non-empty when the request could only be approximated
};

// Parses a number as shown in a display string or typed by the user: leading
// blanks, a decimal number (or inf), an optional "k"/"K" thousands prefix
// before the unit, any unit after it. Returns false if there is no number.
// `decimals` (optional) receives the number of digits after the point.
bool ParseDisplayNumber(const std::string& text, double* value, int* decimals = nullptr);

// Parameter names closest to `query`, best first (at most `max`).
std::vector<std::string> CloseMatches(const std::vector<std::string>& names,
                                      const std::string& query, size_t max = 5);

// Finds the parameter `assignment` names ("NAME=VALUE" or "INDEX=NORMALISED"), sets
// it and returns what was set. Throws HostError with a readable message for
// an unknown name, an unusable value or a value out of the displayed range.
ParamSetting ApplySetting(ParamAccess& params, const std::string& assignment);

}  // namespace ghost
