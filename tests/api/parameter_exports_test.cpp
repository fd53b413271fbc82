#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "LibraryError.h"
#include "OrvanePC.h"
#include "ParentWindow.h"

namespace parameter_exports {
namespace {

using ovcf::test::lastLibraryError;

int parameterId(const char* key) {
    for (int id = 0; id < PC_ParamCount(); ++id) {
        ParamInfo info;
        if (PC_GetParamInfo(id, &info) == 0 && std::strcmp(info.key, key) == 0) return id;
    }
    ADD_FAILURE() << "no parameter " << key;
    return -1;
}

class ParameterExports : public ::testing::Test {
protected:
    void SetUp() override {
        parent = ovcf::harness::ParentWindow::create(400, 300);
        ASSERT_TRUE(parent) << "no display";
        view = PC_CreateView(reinterpret_cast<PcParentWindow>(parent->handle()));
        ASSERT_NE(view, nullptr) << lastLibraryError();
    }
    void TearDown() override { PC_DestroyView(view); }
    std::unique_ptr<ovcf::harness::ParentWindow> parent;
    PcView view = nullptr;
};

TEST(ParameterInfo, DescribesEveryParameterWithoutAView) {
    ASSERT_EQ(PC_ParamCount(), 33);
    ParamInfo info;
    std::memset(&info, 0xEE, sizeof info);
    ASSERT_EQ(PC_GetParamInfo(13, &info), 0);
    EXPECT_EQ(info.id, 13u);
    EXPECT_STREQ(info.key, "detail.pointBudget");
    EXPECT_EQ(info.kind, 1u);
    EXPECT_EQ(info.minimum, 100000.0);
    EXPECT_EQ(info.maximum, 500000000.0);
    EXPECT_EQ(info.defaultValue, 8000000.0);
    EXPECT_EQ(info.reserved, 0u);
    EXPECT_EQ(PC_GetParamInfo(33, &info), 2);
    EXPECT_EQ(lastLibraryError(), "unknown parameter");
    EXPECT_EQ(PC_GetParamInfo(-1, &info), 2);
    EXPECT_EQ(PC_GetParamInfo(0, nullptr), 2);
    EXPECT_EQ(lastLibraryError(), "info is null");
}

TEST(ParameterInfo, ChoiceNamesFollowTheCopyOutRule) {
    char buffer[8];
    EXPECT_EQ(PC_GetChoiceName(1, 14, buffer, 8), 15);
    EXPECT_STREQ(buffer, "color.l");
    EXPECT_EQ(PC_GetChoiceName(1, 14, nullptr, 0), 15);
    EXPECT_EQ(PC_GetChoiceName(1, 15, buffer, 8), 1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(PC_GetChoiceName(3, 0, buffer, 8), 1);  // not a choice parameter
    char whole[32];
    EXPECT_EQ(PC_GetChoiceName(24, 1, whole, sizeof whole), 16);
    EXPECT_STREQ(whole, "cloth.axis.view");
}

// The clamps and truncations themselves are the parameter table's; here they reach the view.
TEST_F(ParameterExports, ValuesReachTheViewThroughTheTable) {
    const int fov = parameterId("camera.fieldOfView");
    EXPECT_EQ(PC_GetValue(view, fov), 45.0);
    EXPECT_EQ(PC_SetValue(view, fov, 200.0), 0);
    EXPECT_NEAR(PC_GetValue(view, fov), 120.0, 1e-9);
    EXPECT_EQ(PC_SetValue(view, parameterId("point.pixelSize"), 7.9), 0);
    EXPECT_EQ(PC_GetValue(view, parameterId("point.pixelSize")), 7.0);
    EXPECT_EQ(PC_SetValue(view, 33, 1.0), 2);
    EXPECT_EQ(lastLibraryError(), "unknown parameter");
    EXPECT_EQ(PC_GetValue(view, 99), 0.0);
}

TEST_F(ParameterExports, ColoursReadBackAndUnknownSlotsAreRefused) {
    EXPECT_EQ(PC_GetColor(view, 0), 0x29303Du);
    EXPECT_EQ(PC_GetColor(view, 1), 0x0A0D12u);
    EXPECT_EQ(PC_GetColor(view, 2), 0xD1D1CCu);
    EXPECT_EQ(PC_GetColor(view, 3), 0xFF26CCu);
    EXPECT_EQ(PC_GetColor(view, 4), 0xFFFFFFu);
    EXPECT_EQ(PC_GetColor(view, 5), 0u);
    EXPECT_EQ(PC_SetColor(view, 0, 0x123456), 0);
    EXPECT_EQ(PC_GetColor(view, 0), 0x123456u);
    EXPECT_EQ(PC_SetColor(view, 4, 0xFFABCDEF), 0);
    EXPECT_EQ(PC_GetColor(view, 4), 0xABCDEFu);
    EXPECT_EQ(PC_SetColor(view, 5, 0x123456), 2);
    EXPECT_EQ(lastLibraryError(), "unknown colour");
}

}  // namespace
}  // namespace parameter_exports
