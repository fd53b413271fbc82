#include <gtest/gtest.h>

#include "selection/ScreenShape.h"

namespace ovcf {
namespace {

TEST(ScreenShape, EdgesRimAndPolygonCrossingRule) {
    ScreenShape rect;
    rect.setRectangle(30, 40, 10, 20);  // corners in any order
    ScreenShape circle;
    circle.setCircle(0, 0, 3, 4);  // radius 5
    ScreenShape square;
    square.setPolygon({10, 10, 20, 10, 20, 20, 10, 20});
    struct Case {
        const ScreenShape* shape;
        float x, y;
        bool inside;
    } cases[] = {
        {&rect, 10, 20, true},   {&rect, 30, 40, true},    {&rect, 20, 40.01f, false}, {&rect, 9.99f, 30, false},
        {&circle, 5, 0, true},   {&circle, 0, -5, true},   {&circle, 3.6f, 3.6f, false},
        {&square, 15, 15, true}, {&square, 10, 15, true},  // a left edge is inside
        {&square, 20, 15, false},                          // a right edge is outside
        {&square, 25, 15, false},
    };
    for (const Case& c : cases) EXPECT_EQ(c.shape->contains(c.x, c.y), c.inside) << c.shape->name() << " " << c.x << "," << c.y;
    EXPECT_FLOAT_EQ(circle.radius(), 5.0f);
    EXPECT_STREQ(square.name(), "poligono");
}

TEST(ScreenShape, BoxesThatTouchOverlapAndAPolygonOfTwoVerticesHoldsNothing) {
    ScreenShape rect;
    rect.setRectangle(10, 10, 20, 20);
    EXPECT_TRUE(rect.boxOverlaps(20, 20, 30, 30));
    EXPECT_TRUE(rect.boxOverlaps(0, 0, 10, 10));
    EXPECT_FALSE(rect.boxOverlaps(20.5f, 0, 30, 30));
    EXPECT_FALSE(rect.boxOverlaps(0, 0, 30, 9.5f));
    ScreenShape two;
    two.setPolygon({0, 0, 10, 10});
    EXPECT_EQ(two.kind(), ShapeNone);
    EXPECT_STREQ(two.name(), "nessuno");
    EXPECT_FALSE(two.contains(5, 5));
    EXPECT_FALSE(two.boxOverlaps(-100, -100, 100, 100));
}

}  // namespace
}  // namespace ovcf
