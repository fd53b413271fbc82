#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "core/Log.h"
#include "navigation/ToolStateMachine.h"
#include "view/ToolOverlay.h"

namespace ovcf {
namespace {

struct FakeHost : ToolHost {
    void runSelection(const ScreenShape& shape) override {
        shapes.push_back(shape);
        if (throwOnSelect) throw std::runtime_error("selection failed");
    }
    std::uint64_t selectedCount() const override { return selected; }
    void toolStateChanged() override { ++events; }
    void setWaitCursor(bool waiting) override { cursor.push_back(waiting); }
    bool resetPlanePick() override { return std::exchange(planeHasAnything, false); }

    std::vector<ScreenShape> shapes;
    std::vector<bool> cursor;
    int events = 0;
    std::uint64_t selected = 0;
    bool planeHasAnything = false;
    bool throwOnSelect = false;
};

std::vector<std::string>* gLines = nullptr;

class ToolStateMachineTest : public ::testing::Test {
protected:
    void SetUp() override {
        gLines = &lines;
        setLogSink([](int, const char* message, void*) { gLines->push_back(message); }, nullptr);
    }
    void TearDown() override { setLogSink(nullptr, nullptr); }
    void clickPolygon(int vertices) {
        for (int i = 0; i < vertices; ++i) tools.beginShape(10 + 30 * i, 20 + 10 * (i % 2));
    }

    std::vector<std::string> lines;
    FakeHost host;
    ToolStateMachine tools{host};
};

TEST_F(ToolStateMachineTest, ShapesAreBuiltFromTheDragAndTinyDragsAreClicks) {
    tools.setSelectionTool(SelectionToolRectangle);
    tools.beginShape(100, 10);
    EXPECT_TRUE(tools.finishShape(102, 60));  // 2 x 50: a shape
    ASSERT_EQ(host.shapes.size(), 1u);
    EXPECT_EQ(host.shapes[0].minX(), 100);
    EXPECT_EQ(host.shapes[0].maxY(), 60);
    EXPECT_EQ(host.cursor, (std::vector<bool>{true, false}));
    tools.beginShape(100, 10);
    EXPECT_TRUE(tools.finishShape(102, 12));  // 2 x 2: a click
    EXPECT_EQ(host.shapes.size(), 1u);
    EXPECT_EQ(tools.state().selectionTool, SelectionToolRectangle) << "the tool stays armed";

    tools.setSelectionTool(SelectionToolCircle);
    tools.beginShape(50, 50);
    tools.finishShape(53, 54);
    ASSERT_EQ(host.shapes.size(), 2u);
    EXPECT_FLOAT_EQ(host.shapes[1].radius(), 5.0f);
    EXPECT_FALSE(tools.finishShape(0, 0)) << "no drag running";
}

TEST_F(ToolStateMachineTest, ThePolygonConfirmsWithThreeVerticesAndStartsAgainAfterTooFew) {
    tools.setSelectionTool(SelectionToolPolygon);
    clickPolygon(2);
    bool selected = true;
    EXPECT_TRUE(tools.confirmPolygon(&selected));
    EXPECT_FALSE(selected);
    EXPECT_EQ(lines.back(), "poligono: servono almeno tre vertici, ne hai messi 2");
    EXPECT_TRUE(tools.state().polygon.empty());
    clickPolygon(1);
    EXPECT_EQ(tools.state().polygon.size(), 2u);

    EXPECT_TRUE(tools.removeLastVertex());
    EXPECT_EQ(lines.back(), "poligono: tolto l'ultimo vertice, non ne restano");
    EXPECT_FALSE(tools.removeLastVertex());
    clickPolygon(4);
    EXPECT_TRUE(tools.removeLastVertex());
    EXPECT_EQ(lines.back(), "poligono: tolto l'ultimo vertice, ne restano 3");
    EXPECT_TRUE(tools.confirmPolygon(&selected));
    EXPECT_TRUE(selected);
    ASSERT_EQ(host.shapes.size(), 1u);
    EXPECT_EQ(host.shapes[0].kind(), ShapePolygon);
    EXPECT_EQ(host.shapes[0].vertices().size(), 6u);
}

TEST_F(ToolStateMachineTest, ArmingOneFamilyDisarmsTheOtherAndEveryCallTellsTheHost) {
    tools.setSelectionTool(SelectionToolPolygon);
    clickPolygon(3);
    const int before = host.events;
    tools.setRectTool(RectToolClipBox);
    EXPECT_EQ(host.events, before + 1);
    EXPECT_EQ(tools.state().selectionTool, SelectionToolNone);
    EXPECT_TRUE(tools.state().polygon.empty());
    tools.beginRectangle(5, 5);
    tools.setSelectionTool(SelectionToolRectangle);
    EXPECT_FALSE(tools.state().rectDrag) << "the rubber band is dropped";
    EXPECT_EQ(tools.state().rectTool, RectToolNone);
    tools.setSelectionTool(SelectionToolRectangle);  // the same tool again still tells the host
    EXPECT_EQ(host.events, before + 3);
    tools.setSelectionTool(4);
    tools.setRectTool(3);
    EXPECT_EQ(host.events, before + 3) << "out-of-range tools are ignored";
}

TEST_F(ToolStateMachineTest, CancelSaysWhatItAbandonedFirstAndKeepsTheSelection) {
    struct Case {
        std::uint32_t selectionTool, rectTool;
        int vertices;
        bool plane;
        const char* line;
    } cases[] = {
        {SelectionToolPolygon, 0, 5, true,
         "comandi annullati: sagoma abbandonata, torna la navigazione. I 12.345 punti selezionati restano selezionati"},
        {SelectionToolCircle, 0, 0, true, "comandi annullati: selezione a cerchio disarmata, torna la navigazione"},
        {0, RectToolZoomWindow, 0, true, "comandi annullati: zoom a finestra disarmato, torna la navigazione"},
        {0, RectToolClipBox, 0, false, "comandi annullati: scatola di ritaglio disarmato, torna la navigazione"},
        {0, 0, 0, true, "comandi annullati: vista su piano a riposo, la vista resta dov'e'"},
    };
    host.selected = 12345;
    for (const Case& c : cases) {
        if (c.selectionTool) tools.setSelectionTool(c.selectionTool);
        if (c.rectTool) tools.setRectTool(c.rectTool);
        clickPolygon(c.vertices);
        host.planeHasAnything = c.plane;
        const int events = host.events;
        EXPECT_TRUE(tools.cancelTools());
        EXPECT_EQ(lines.back(), c.line);
        EXPECT_EQ(host.events, events + 1);
        EXPECT_EQ(tools.state().selectionTool, SelectionToolNone);
        EXPECT_EQ(tools.state().rectTool, RectToolNone);
    }
    EXPECT_TRUE(host.shapes.empty()) << "a cancelled shape selects nothing";
    const std::size_t logged = lines.size();
    const int events = host.events;
    EXPECT_FALSE(tools.cancelTools());
    EXPECT_EQ(lines.size(), logged);
    EXPECT_EQ(host.events, events);
}

TEST_F(ToolStateMachineTest, TheWaitCursorGoesAwayWhenTheSelectionFails) {
    host.throwOnSelect = true;
    tools.setSelectionTool(SelectionToolRectangle);
    tools.beginShape(0, 0);
    EXPECT_THROW(tools.finishShape(50, 50), std::runtime_error);
    EXPECT_EQ(host.cursor, (std::vector<bool>{true, false}));
}

TEST(ToolOverlay, DrawsWhatIsInProgressWithinTheLineBuffers) {
    ToolState state;
    ToolOverlay overlay;
    overlay.build(state);
    EXPECT_TRUE(overlay.drawings().empty());

    state.selectionTool = SelectionToolCircle;
    state.shapeDrag = true;
    state.currentX = 3000;  // a huge circle still fits its buffer
    overlay.build(state);
    ASSERT_EQ(overlay.drawings().size(), 1u);
    EXPECT_EQ(overlay.drawings()[0].vertices.size(), 256u);

    state = {};
    state.selectionTool = SelectionToolPolygon;
    for (int i = 0; i < 400; ++i) state.polygon.insert(state.polygon.end(), {float(i), float(i % 7)});
    state.currentX = 999;
    overlay.build(state);
    ASSERT_EQ(overlay.drawings().size(), 1u);
    const auto& polygon = overlay.drawings()[0];
    EXPECT_EQ(polygon.slot, LineBufferSlot::Polygon);
    ASSERT_EQ(polygon.vertices.size(), 256u);
    EXPECT_EQ(polygon.vertices.back().position[0], 999.0f) << "the rubber line ends at the cursor";
    EXPECT_EQ(polygon.vertices[254].position[0], 399.0f) << "the newest vertices are drawn";
}

}  // namespace
}  // namespace ovcf
