#include <gtest/gtest.h>
#include "windowaccess/AX.h"
TEST(Build, Links) {
    SUCCEED();
}
