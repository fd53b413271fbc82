// The 33 numbered parameters the host reads and writes on a view, with their keys, kinds,
// ranges and choice names, and the dedicated colour slots. Works on the view's settings and
// camera alone, so the exported calls only add the handle check and the error texts.
#pragma once

#include <cstdint>

#include "OrvanePC.h"
#include "cloud/ViewSettings.h"
#include "navigation/Camera.h"

namespace ovcf {

enum ParamKind : std::uint32_t { ParamReal = 0, ParamInteger = 1, ParamBoolean = 2, ParamChoice = 3 };

using ParamGetter = double (*)(const ViewSettings& settings, const Camera& camera);
// Receives a value already clamped to [minimum, maximum].
using ParamSetter = void (*)(double value, ViewSettings& settings, Camera& camera);

struct ParamDescriptor {
    std::uint32_t id;
    std::uint32_t kind;
    double minimum;
    double maximum;
    double defaultValue;
    double step;  // advice for the host's spin boxes only
    std::uint32_t choiceCount;
    const char* key;
    ParamGetter get;
    ParamSetter set;
};

constexpr int kParameterCount = 33;
constexpr int kColorSlotCount = 5;
constexpr std::size_t kParamKeyCapacity = sizeof(ParamInfo::key);

int parameterCount();
// The row of the id, or null for an unknown id (or a row whose id differs from its index).
const ParamDescriptor* parameterDescriptor(int id);
// False for an unknown id; the key is cut to 47 characters and the reserved word is 0.
bool fillParamInfo(int id, ParamInfo& out);
// The key field of ParamInfo: at most 47 characters, NUL-terminated, the rest zero.
void copyParamKey(const char* key, char (&out)[kParamKeyCapacity]);
// The key of a choice, or "" for an unknown parameter, a non-choice parameter or an index out
// of its list. Never null.
const char* choiceName(int id, int index);

// Above the maximum gives the maximum, else below the minimum the minimum.
double clampParameter(const ParamDescriptor& descriptor, double value);
// 0.0 for an unknown id.
double getParameter(int id, const ViewSettings& settings, const Camera& camera);
// Clamps and stores; false only for an unknown id. A value that is not a number changes
// nothing.
bool setParameter(int id, double value, ViewSettings& settings, Camera& camera);

// 0xRRGGBB of a colour slot 0..4; 0 with known = false for any other slot.
std::uint32_t getColor(const ViewSettings& settings, int slot, bool& known);
// False for an unknown slot (nothing changes).
bool setColor(ViewSettings& settings, int slot, std::uint32_t rgb);

// Italian names for log lines; "?" outside the list.
const char* colorModeDisplayName(int mode);
const char* combineModeDisplayName(int mode);

}  // namespace ovcf
