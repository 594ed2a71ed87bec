#include <gtest/gtest.h>

#include <QGuiApplication>

int main(int argc, char** argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication app(argc, argv);  // fonts
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
