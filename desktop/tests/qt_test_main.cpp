// GoogleTest with a QApplication, for the widget tests (run offscreen).
#include <gtest/gtest.h>
#include <QApplication>

#include "platform/qt/window_style.h"

int main(int argc, char** argv) {
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication app(argc, argv);
    tvl::useProgramLook();  // the widgets are measured in the program's own font
    ::testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
