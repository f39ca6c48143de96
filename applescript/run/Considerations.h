// What text depends on while a script runs: what `considering` and `ignoring` say, and the text item delimiters.
//
// Thread: the interpreter's.
#pragma once
#include "applescript/run/Context.h"

namespace ombru::applescript {

class Considerations {
public:
    // At its end, what was considered at its beginning is again. Delimiters stay as they were set.
    class Kept {
    public:
        explicit Kept(Considerations &considerations)
            : m_considerations(considerations), m_before(considerations.considered()) {}
        ~Kept() { m_considerations.consider(m_before); }
        Kept(const Kept &) = delete;
        Kept &operator=(const Kept &) = delete;

    private:
        Considerations &m_considerations;
        Attributes m_before;
    };

    const TextRules &rules() const { return m_rules; }
    Attributes considered() const { return m_rules.considered; }
    void consider(Attributes attributes) { m_rules.considered = attributes; }

    const Value &delimiters() const { return m_delimiters; }
    void setDelimiters(const Value &value, Context &context);

    // The text looked into last is remembered, so that a loop over it does not split it anew each time.
    const std::vector<Span> &spansOf(const QString &text, const QString &kind);

private:
    TextRules m_rules;
    Value m_delimiters = QString();
    struct {
        QString text;
        QString kind;
        QStringList delimiters;
        Attributes considered = 0;
        std::vector<Span> spans;
    } m_elements;
};

} // namespace ombru::applescript
