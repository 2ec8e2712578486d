// Links against the bundled mavo_core archive alone, as programs outside the tree do: a layer
// missing from the bundle shows up here as a link error.

#include <gtest/gtest.h>

#include "geometry/Geo.h"
#include "geometry/Rect.h"
#include "placements/PlacementStore.h"

TEST(CoreArchive, GeometryAndPlacementsLinkFromTheBundle) {
    mavo::Rect work{0, 25, 1440, 875};
    EXPECT_TRUE(mavo::Geo::isAtSnapZone({0, 25, 720, 875}, work, 0, 0));
    auto rel = mavo::PlacementStore::relative({100, 125, 720, 437.5}, work);
    ASSERT_TRUE(rel.has_value());
    EXPECT_EQ(mavo::PlacementStore::absolute(*rel, work), (mavo::Rect{100, 125, 720, 437.5}));
}
