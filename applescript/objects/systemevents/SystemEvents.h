// System Events: processes with their windows, keys and clicks. It is no application of this computer, but always known
// and always running.
#pragma once
#include "applescript/objects/ObjectModel.h"

namespace ombru::applescript {

class SystemEvents final : public ObjectModel, public TableObject<SystemEvents> {
public:
    static constexpr QStringView VERSION = u"1.3.6";

    using ObjectModel::ObjectModel;

    static ClassTable<SystemEvents> table();
    static std::span<const CommandRow<SystemEvents>> commands();

    Value reference() const override { return applicationValue(application()); }

private:
    Object &root() override { return *this; }
    Value command(const Event &event) override;

    Value frontmost() const { return false; }
    Value elementsEnabled() const { return true; }
    Objects everyProcess();
    ObjectPtr processOfApplication(const Value &name);

    Value keystroke(const Event &event);
    Value keyCode(const Event &event);
    Value holdKeys(const Event &event);
    Value click(const Event &event);
    Value performAction(const Event &event);
    Held<Input> input() const; // for one operation
};

const Dictionary &systemEventsWords();

} // namespace ombru::applescript
