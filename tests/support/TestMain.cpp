#include <QCoreApplication>
#include <gtest/gtest.h>

// Every test program runs with a QCoreApplication, as the store's host programs do.
int main(int argc, char** argv)
{
    QCoreApplication app(argc, argv);
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
