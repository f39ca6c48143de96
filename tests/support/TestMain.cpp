// main() of every test: with a core application, because most of what is tested needs the event loop, or a graphical one.
#include "base/Program.h"

#ifdef OMBRU_TEST_APPLICATION
#include <QApplication>
#else
#include <QCoreApplication>
#define OMBRU_TEST_APPLICATION QCoreApplication
#endif

#include <gtest/gtest.h>

int main(int argc, char **argv) {
    ombru::beginProgram();
    ::testing::InitGoogleTest(&argc, argv);
    OMBRU_TEST_APPLICATION application(argc, argv);
    return RUN_ALL_TESTS();
}
