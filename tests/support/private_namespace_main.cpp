#include "support/private_namespace.h"

#include <gtest/gtest.h>

int main(int argc, char **argv)
{
    test::EnterPrivateNamespaces();
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
