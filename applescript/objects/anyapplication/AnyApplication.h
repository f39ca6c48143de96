// An application of this computer as scripts can work every one of them: started, brought to the front, given files,
// ended, and its windows.
#pragma once
#include "applescript/objects/ObjectModel.h"

namespace ombru::applescript {

class AnyApplication final : public ObjectModel, public TableObject<AnyApplication> {
public:
    using ObjectModel::ObjectModel;

    static ClassTable<AnyApplication> table();
    static std::span<const CommandRow<AnyApplication>> commandsEverywhere(); // words that need no `tell` around them
    static std::span<const CommandRow<AnyApplication>> commands();

    Value reference() const override { return applicationValue(application()); }

private:
    Object &root() override { return *this; }
    Value command(const Event &event) override;

    Value frontmost() const;
    Value elementsEnabled() const { return false; }
    bool bringToFront(const Value &value);
    Objects windows();

    Value activate(const Event &event);
    Value launch(const Event &event);
    Value quit(const Event &event);
    Value open(const Event &event);
    Value closeWindows(const Event &event);
    [[noreturn]] void refuse(const Event &event);
    Applications &applications() const { return context().host().applications(); }
};

void addEverywhereWords(Dictionary &dictionary); // what can be said to an application without `tell`
const Dictionary &standardSuite();               // what every application understands, or at least answers to
const Dictionary &commonWords();                 // what scripts say to applications of unknown dictionary

} // namespace ombru::applescript
