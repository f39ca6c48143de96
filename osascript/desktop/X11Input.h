// A script's keys and clicks, through XTEST. Each operation opens the display for itself and leaves the keyboard's map,
// layout, locks and foreign modifiers as they were. Remembers the keys it holds down. One thread, but for the last
// turn.
#pragma once
#include "applescript/host/Input.h"
#include "osascript/desktop/Aim.h"
#include "osascript/desktop/InputState.h"
#include "osascript/desktop/Keyboard.h"
#include "osascript/desktop/Turns.h"

#include <functional>

namespace ombru {

class X11Input : public applescript::Input {
public:
    X11Input(Turns &turns, const MayReach &mayReach) : m_turns(&turns), m_mayReach(&mayReach) {}

    Result<> type(const QString &text, applescript::Modifiers modifiers) override;
    Result<> pressKey(int keyCode, applescript::Modifiers modifiers) override;
    Result<> holdKey(int keyCode, bool down) override;
    Result<> holdModifier(applescript::Modifier modifier, bool down) override;
    Result<> click(QPoint at, applescript::Click click, applescript::Modifiers modifiers) override;

    void releaseAll(); // in the last turn

    // While nothing else of it runs, but an operation that stands still somewhere (`midway`): lets go of all keys and
    // buttons. The modifiers that the script holds are pressed again before its next keys or clicks; of what else it
    // held nobody knows what it would do then.
    void rest(bool midway);

private:
    using Operation = std::function<Result<>(X11 &x11, Aim &aim)>;
    using KeyOperation = std::function<Result<>(Keyboard &keyboard, InputState &state)>;
    Result<> onDisplay(const Operation &operation);
    Result<> pressAgain(X11 &x11, Aim &aim);
    // Alone with the keyboard: nobody else holds a modifier meanwhile.
    Result<> atKeyboard(X11 &x11, Aim &aim, const KeyOperation &operation);

    Turns *m_turns;
    const MayReach *m_mayReach;
    KeySet m_held;
    KeySet m_again; // modifiers that were let go of for a rest
};

} // namespace ombru
