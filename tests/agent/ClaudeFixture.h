// A home of its own with a stand-in for the `claude` tool in it.
#pragma once
#include "agent/Claude.h"
#include "platform/fake/FakePlatform.h"
#include "tests/support/Processes.h"

#include <filesystem>

namespace ombru::test {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

class ClaudeTest : public testing::Test {
protected:
    ClaudeTest() : m_oldHome(qgetenv("HOME")) {
        FakePlatform::reset();
        FakePlatform::instance().ownerShell = {u"/bin/sh"_s, u"command -v"_s};
        qputenv("HOME", home().toUtf8());
        QDir().mkpath(home() + u"/.local/bin"_s);
    }
    ~ClaudeTest() override { qputenv("HOME", m_oldHome); }

    QString home() const { return m_scratch.directory(); }
    QString binary() const { return home() + u"/.local/bin/claude"_s; }

    // Puts a stand-in where the tool is looked for first: a shell script.
    void tool(const QByteArray &body) { toolFile("#!/bin/sh\n" + body + "\n"); }

    // Any file in its place. What is written within one tick of the kernel's clock would have the same date.
    void toolFile(const QByteArray &contents) {
        m_scratch.write(u".local/bin/claude"_s, contents, QFile::ExeOwner);
        const std::filesystem::path file(binary().toStdString());
        std::filesystem::last_write_time(file, std::filesystem::last_write_time(file) + ++m_tools * 1s);
    }

    // One that has every flag and answers the sign-in check.
    void toolWithStatus(const QByteArray &status) {
        tool("case $1 in --help) echo '" + help() + "';; auth) printf '%s' '" + status + "';; esac");
    }
    static QByteArray help() { return Claude::requiredFlags.join(u' ').toUtf8(); }

    // A tool that the whole machine has; found before the owner's shell is asked.
    static std::optional<QString> systemWide() {
        for (const auto &path : {u"/opt/homebrew/bin/claude"_s, u"/usr/local/bin/claude"_s})
            if (QFileInfo(path).isFile() && QFileInfo(path).isExecutable())
                return path;
        return std::nullopt;
    }

    Scratch m_scratch;

private:
    QByteArray m_oldHome;
    int m_tools = 0;
};

} // namespace ombru::test
