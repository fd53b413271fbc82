#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <set>
#include <string>

#include "api/ParameterTable.h"

namespace ovcf {
namespace {

constexpr int kFieldOfView = 15;

// The keys the host sees, in id order: a renamed or reordered key breaks the host's settings.
const char* const kKeys[kParameterCount] = {
    "view.mode", "color.mode", "point.sizeMode", "point.pixelSize", "point.size", "point.minSize",
    "point.maxSize", "point.round", "edl.enabled", "edl.strength", "edl.radius", "xray.opacity",
    "detail.threshold", "detail.pointBudget", "resources.gpuBudgetMb", "camera.fieldOfView",
    "cube.visible", "cube.size", "overlay.visible", "overlay.textSize", "background.gradient",
    "selection.highlight", "selection.filter", "filter.spacing", "filter.cloth.axis",
    "filter.cloth.resolution", "filter.cloth.tension", "filter.cloth.offset",
    "filter.isolated.radius", "filter.isolated.neighbors", "filter.isolated.group",
    "filter.color.tolerance", "filter.color.ignoreLightness"};

int idOf(const char* key) {
    for (int id = 0; id < parameterCount(); ++id)
        if (std::strcmp(parameterDescriptor(id)->key, key) == 0) return id;
    ADD_FAILURE() << "no parameter " << key;
    return -1;
}

// Render reals live in floats: compare at float precision.
void expectStored(double expected, double actual, const char* key) {
    EXPECT_NEAR(expected, actual, 1e-6 * std::max(1.0, std::fabs(expected))) << key;
}

struct ParameterValues : ::testing::Test {
    ViewSettings settings;
    Camera camera;
    double get(const char* key) { return getParameter(idOf(key), settings, camera); }
    bool set(const char* key, double v) { return setParameter(idOf(key), v, settings, camera); }
};

TEST(ParameterTable, RowsAreConsistentAndANewViewStartsAtTheDefaults) {
    ASSERT_EQ(parameterCount(), 33);
    const ViewSettings fresh;
    const Camera camera;
    std::set<std::string> keys;
    for (int id = 0; id < parameterCount(); ++id) {
        const ParamDescriptor* row = parameterDescriptor(id);
        ASSERT_NE(row, nullptr) << id;
        EXPECT_EQ(row->id, static_cast<std::uint32_t>(id));
        EXPECT_STREQ(row->key, kKeys[id]);
        EXPECT_TRUE(keys.insert(row->key).second) << row->key;
        EXPECT_LE(row->minimum, row->defaultValue) << row->key;
        EXPECT_LE(row->defaultValue, row->maximum) << row->key;
        EXPECT_GT(row->step, 0.0) << row->key;
        expectStored(row->defaultValue, getParameter(id, fresh, camera), row->key);
        if (row->kind == ParamChoice) {
            EXPECT_EQ(row->maximum + 1, row->choiceCount) << row->key;
            EXPECT_STRNE(choiceName(id, static_cast<int>(row->choiceCount) - 1), "") << row->key;
            EXPECT_STREQ(choiceName(id, static_cast<int>(row->choiceCount)), "") << row->key;
        } else {
            EXPECT_EQ(row->choiceCount, 0u) << row->key;
            EXPECT_STREQ(choiceName(id, 0), "") << row->key;
        }
    }
}

TEST(ParameterTable, UnknownIdsAreRejectedAndChangeNothing) {
    ViewSettings settings;
    Camera camera;
    ParamInfo info;
    for (int id : {-1, 33, 1000}) {
        EXPECT_EQ(parameterDescriptor(id), nullptr);
        EXPECT_FALSE(setParameter(id, 5.0, settings, camera));
        EXPECT_EQ(getParameter(id, settings, camera), 0.0);
        EXPECT_FALSE(fillParamInfo(id, info));
        EXPECT_STREQ(choiceName(id, 0), "");
    }
    const ViewSettings fresh;
    for (int id = 0; id < parameterCount(); ++id)
        EXPECT_EQ(getParameter(id, settings, camera), getParameter(id, fresh, camera)) << id;
}

TEST_F(ParameterValues, IntegerAndChoiceValuesTruncateTowardZero) {
    EXPECT_TRUE(set("point.pixelSize", 7.9));
    EXPECT_EQ(get("point.pixelSize"), 7.0);
    EXPECT_EQ(settings.render.pixelSize, 7.0f);
    set("color.mode", 13.99);
    EXPECT_EQ(settings.render.colorMode, 13u);
    set("color.mode", 14.7);  // clamped to 14 first
    EXPECT_EQ(settings.render.colorMode, 14u);
    set("detail.pointBudget", 123456789.9);
    EXPECT_EQ(settings.render.pointBudget, 123456789u);
    set("filter.isolated.group", 2.5);
    EXPECT_EQ(settings.selection.isolatedGroup, 2u);
    set("view.mode", -0.7);  // below the minimum: the minimum, not a negative count
    EXPECT_EQ(settings.render.viewMode, 0u);
}

TEST_F(ParameterValues, OnlyExactlyZeroSwitchesAFlagOff) {
    set("edl.enabled", 0.0);
    EXPECT_FALSE(settings.render.edlEnabled);
    EXPECT_EQ(get("edl.enabled"), 0.0);
    set("edl.enabled", 0.5);
    EXPECT_TRUE(settings.render.edlEnabled);
    EXPECT_EQ(get("edl.enabled"), 1.0);
    set("filter.color.ignoreLightness", 1e-300);
    EXPECT_TRUE(settings.selection.colorIgnoreLightness);
    set("filter.color.ignoreLightness", -0.0);
    EXPECT_FALSE(settings.selection.colorIgnoreLightness);
    set("cube.visible", -3.0);  // clamped to 0
    EXPECT_FALSE(settings.render.cubeVisible);
}

TEST_F(ParameterValues, EveryValueIsClampedToItsRange) {
    for (int id = 0; id < parameterCount(); ++id) {
        const ParamDescriptor* row = parameterDescriptor(id);
        const double span = row->maximum - row->minimum;
        setParameter(id, row->maximum + span + 1.0, settings, camera);
        expectStored(row->maximum, getParameter(id, settings, camera), row->key);
        setParameter(id, row->minimum - span - 1.0, settings, camera);
        expectStored(row->minimum, getParameter(id, settings, camera), row->key);
        setParameter(id, HUGE_VAL, settings, camera);
        expectStored(row->maximum, getParameter(id, settings, camera), row->key);
    }
}

TEST_F(ParameterValues, NotANumberKeepsTheValue) {
    set("point.size", 5.5);
    EXPECT_TRUE(set("point.size", std::nan("")));
    EXPECT_EQ(get("point.size"), 5.5);
    set("filter.spacing", 0.25);
    set("filter.spacing", std::nan(""));
    EXPECT_EQ(settings.selection.spacing, 0.25);
    const double distance = camera.distance;
    set("camera.fieldOfView", std::nan(""));
    EXPECT_EQ(camera.distance, distance);
    EXPECT_NEAR(get("camera.fieldOfView"), 45.0, 1e-9);
}

TEST_F(ParameterValues, GpuBudgetIsKeptInBytes) {
    set("resources.gpuBudgetMb", 3000);
    EXPECT_EQ(settings.render.gpuBudgetBytes, 3000ull * 1048576ull);
    EXPECT_EQ(get("resources.gpuBudgetMb"), 3000.0);
    set("resources.gpuBudgetMb", 20000);
    EXPECT_EQ(settings.render.gpuBudgetBytes, 16384ull << 20);
    EXPECT_EQ(get("resources.gpuBudgetMb"), 16384.0);
    set("resources.gpuBudgetMb", 129.99);
    EXPECT_EQ(settings.render.gpuBudgetBytes, 129ull << 20);
}

TEST_F(ParameterValues, FieldOfViewIsClampedAndTheSceneKeepsItsSize) {
    camera.setViewport(800, 600);
    camera.fitBox({0, 0, 0}, {100, 80, 20});
    const double metresAcross = camera.distance * std::tan(camera.fieldOfView / 2.0);
    EXPECT_TRUE(set("camera.fieldOfView", 200));
    EXPECT_NEAR(get("camera.fieldOfView"), 120.0, 1e-9);
    EXPECT_NEAR(camera.distance * std::tan(camera.fieldOfView / 2.0), metresAcross, 1e-9 * metresAcross);
    set("camera.fieldOfView", 1);
    EXPECT_NEAR(get("camera.fieldOfView"), 5.0, 1e-9);
    EXPECT_NEAR(camera.distance * std::tan(camera.fieldOfView / 2.0), metresAcross, 1e-9 * metresAcross);
}

// The last colour mode, the end of its list and the cloth axis are checked through PC_GetChoiceName.
TEST(ParameterTable, ChoiceNamesInIndexOrder) {
    EXPECT_STREQ(choiceName(1, 0), "color.rgb");
    EXPECT_STREQ(choiceName(1, -1), "");
    EXPECT_STREQ(choiceName(0, 2), "view.xray");
    EXPECT_STREQ(choiceName(2, 1), "pointSize.adaptive");
    EXPECT_STREQ(choiceName(22, 3), "filter.isolated");
}

TEST(ParameterTable, InfoRecordMatchesTheRow) {
    ParamInfo info;
    std::memset(&info, 0xAB, sizeof info);
    ASSERT_TRUE(fillParamInfo(14, info));  // the range and default are checked through PC_GetParamInfo
    EXPECT_EQ(info.kind, static_cast<std::uint32_t>(ParamInteger));
    EXPECT_EQ(info.step, 128.0);
    EXPECT_EQ(info.choiceCount, 0u);
    EXPECT_STREQ(info.key, "resources.gpuBudgetMb");
    for (std::size_t i = std::strlen(info.key); i < sizeof info.key; ++i) EXPECT_EQ(info.key[i], 0) << i;

    ASSERT_TRUE(fillParamInfo(1, info));
    EXPECT_EQ(info.kind, static_cast<std::uint32_t>(ParamChoice));
    EXPECT_EQ(info.choiceCount, 15u);

    char key[kParamKeyCapacity];
    const std::string longKey(60, 'k');
    copyParamKey(longKey.c_str(), key);
    EXPECT_EQ(std::string(key), std::string(47, 'k'));
    EXPECT_EQ(key[47], 0);
}

TEST(ParameterTable, ColourSlotsRoundTripAndUnknownSlotsChangeNothing) {
    ViewSettings settings;  // the initial colours are checked through PC_GetColor
    bool known = false;
    for (std::uint32_t rgb : {0x000000u, 0xFFFFFFu, 0x123456u, 0x80FF01u, 0x7F8081u}) {
        for (int slot = 0; slot < kColorSlotCount; ++slot) {
            ASSERT_TRUE(setColor(settings, slot, rgb));
            EXPECT_EQ(getColor(settings, slot, known), rgb) << slot << " " << std::hex << rgb;
            EXPECT_TRUE(known);
        }
    }
    setColor(settings, 0, 0x336699);
    EXPECT_EQ(settings.render.backgroundTop.g, 0x66 / 255.0f);
    setColor(settings, 4, 0xAB123456);
    EXPECT_EQ(settings.selection.colorReference, 0x123456u);

    settings.render.highlightColor = {1.7f, -0.3f, 0.5f};  // out of range floats clamp on reading
    EXPECT_EQ(getColor(settings, 3, known), 0xFF0080u);

    std::uint32_t before[kColorSlotCount];
    for (int slot = 0; slot < kColorSlotCount; ++slot) before[slot] = getColor(settings, slot, known);
    for (int slot : {-1, 5, 100}) {
        EXPECT_FALSE(setColor(settings, slot, 0x010203));
        EXPECT_EQ(getColor(settings, slot, known), 0u);
        EXPECT_FALSE(known);
    }
    for (int slot = 0; slot < kColorSlotCount; ++slot) EXPECT_EQ(getColor(settings, slot, known), before[slot]);
}

TEST(ParameterTable, DisplayNamesForLogLines) {
    EXPECT_STREQ(colorModeDisplayName(0), "colori reali");
    EXPECT_STREQ(colorModeDisplayName(9), "mappa delle tonalita'");
    EXPECT_STREQ(colorModeDisplayName(14), "livello di dettaglio");
    EXPECT_STREQ(colorModeDisplayName(15), "?");
    EXPECT_STREQ(colorModeDisplayName(-1), "?");
    EXPECT_STREQ(combineModeDisplayName(0), "sostituisci");
    EXPECT_STREQ(combineModeDisplayName(2), "sottrai");
    EXPECT_STREQ(combineModeDisplayName(3), "?");
}

}  // namespace
}  // namespace ovcf
