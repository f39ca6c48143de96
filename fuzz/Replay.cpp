// Feeds every file of the directories that are named to a fuzz target, once, where there is no libFuzzer.
#include "fuzz/Fuzz.h"

#include <QDir>

#include <cstdio>

int main(int argc, char **argv) {
    int fed = 0;
    for (int number = 1; number < argc; ++number) {
        const QDir directory(QString::fromLocal8Bit(argv[number]));
        for (const auto &entry : directory.entryInfoList(QDir::Files)) {
            QFile file(entry.filePath());
            if (!file.open(QFile::ReadOnly))
                return 1;
            const auto bytes = file.readAll();
            LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t *>(bytes.data()),
                                   static_cast<std::size_t>(bytes.size()));
            ++fed;
        }
    }
    std::printf("%d inputs\n", fed);
    return fed > 0 ? 0 : 1;
}
