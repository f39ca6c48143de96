// The variables of a run: the frame of the handler that runs, the script object it belongs to with its parents, and the
// globals, which are the properties of the script itself.
//
// Thread: the interpreter's. Frames are shared, because a test of `whose` may outlive the handler it stands in.
#pragma once
#include "applescript/syntax/Ast.h"
#include "applescript/values/ScriptObject.h"

#include <QSet>

namespace ombru::applescript {

struct Frame final : Collectable {
    ScriptPtr me;
    Variables locals;
    QSet<QString> globals;
    Value target; // of the innermost tell; nothing outside
    Value result;

    explicit Frame(ScriptPtr script) : me(std::move(script)) {}
    void release() override;
    void useGlobals(const std::vector<Name> &names);
};
using FramePtr = std::shared_ptr<Frame>;

class Scopes {
public:
    // While it lives, another frame is the current one.
    class Entered {
    public:
        Entered(Scopes &scopes, FramePtr frame)
            : m_scopes(scopes), m_before(std::exchange(scopes.m_frame, std::move(frame))) {}
        ~Entered() { m_scopes.m_frame = std::move(m_before); }
        Entered(const Entered &) = delete;
        Entered &operator=(const Entered &) = delete;

    private:
        Scopes &m_scopes;
        FramePtr m_before;
    };

    void start(const ScriptPtr &script); // the script itself, in a frame of its own
    Frame &frame() const { return *m_frame; }
    const FramePtr &current() const { return m_frame; }

    std::shared_ptr<Value> find(const QString &key) const;
    std::shared_ptr<Value> place(const QString &key); // made when there is none
    void declare(const Declaration &declaration);

private:
    FramePtr m_frame;
    ScriptPtr m_root;
};

} // namespace ombru::applescript
