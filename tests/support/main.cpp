// The main of every test program: a network of its own where the system allows it, so that fixed ports meet nobody
// else's.

#include <gtest/gtest.h>

#include "support/private_network.h"

int main(int argc, char** argv) {
    test::enterPrivateNetwork(argv);
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
