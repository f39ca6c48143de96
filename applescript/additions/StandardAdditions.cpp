#include "applescript/additions/StandardAdditions.h"

#include "applescript/additions/Addition.h"

#include <array>

namespace ombru::applescript {

namespace {

auto suites() {
    return std::array{dialogAdditions(), systemAdditions(), clipboardAdditions(), mathAdditions(),
                      textAdditions(),   scriptAdditions(), refusedAdditions()};
}

} // namespace

void addStandardAdditions(Dictionary &dictionary) {
    for (const auto &suite : suites()) {
        dictionary.addProperties(suite.properties);
        for (const auto &addition : suite.commands)
            dictionary.addCommand(addition.words);
    }
}

CommandFunction standardAddition(QStringView name) {
    for (const auto &suite : suites()) {
        for (const auto &addition : suite.commands) {
            if (addition.words.name == name)
                return addition.run;
        }
    }
    return nullptr;
}

} // namespace ombru::applescript
