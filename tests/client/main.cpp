// SPDX-License-Identifier: MIT
// Tests whose program is the helper of its own lanes.
#include "ClientFixture.h"
#include "kinloom/Lane.h"

#include <gmock/gmock.h>

int main(int argc, char** argv)
{
    test::playHelperIfAsked(argc, argv);
    kinloom::runLaneIfAsked(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
