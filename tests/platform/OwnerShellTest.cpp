#include "platform/OwnerShell.h"

#include <QFileInfo>

#include <gtest/gtest.h>

using namespace ombru;

TEST(OwnerShell, IsAProgramThatCanBeStarted) {
    const auto shell = ownerShell();
    EXPECT_TRUE(QFileInfo(shell.program).isExecutable()) << shell.program.toStdString();
    EXPECT_FALSE(shell.where.isEmpty());
}
