// Main of the core test suites.
#include <gtest/gtest.h>

#include <clocale>

int main(int argc, char** argv)
{
    // Tests format numbers and convert texts; make that independent of the
    // environment (CI may run without LANG).
    std::setlocale(LC_ALL, "C.UTF-8");
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
