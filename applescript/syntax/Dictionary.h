// What words mean. A dictionary names commands with their parameters, classes, properties and constants, many of them
// of several words; the parser takes the longest term of any dictionary in scope that stands at a place.
//
// A dictionary is built when it is first asked for and lives as long as the program. Immutable then, any thread.
#pragma once
#include "applescript/syntax/Lexer.h"

#include <QHash>
#include <QStringList>

#include <optional>
#include <span>
#include <vector>

namespace ombru::applescript {

struct CommandTerm {
    enum class Direct {
        none,
        expression, // a full expression
        object      // binds closely: `count words of x > 3` compares the count
    };
    struct Parameter {
        QString label;         // "with title"
        QStringList constants; // words that are constants only in this parameter
    };
    QString name;
    Direct direct = Direct::none;
    QStringList directConstants;
    std::vector<Parameter> parameters;
    QStringList flags;        // `with hidden answer`, `without altering line endings`
    bool application = false; // sent to the target application
    bool describes = false;   // takes its object as it is described, not what it is
};

// A command as a table writes it. Lists are separated by "|".
struct CommandWords {
    QStringView name;
    CommandTerm::Direct direct = CommandTerm::Direct::none;
    QStringView parameters = {}; // label, or label=constant,constant
    QStringView flags = {};      // for `with` and `without`
    QStringView directConstants = {};
    bool application = false;
    bool describes = false;
};

struct Term {
    enum class Kind { command, elementClass, property, constant };
    Kind kind = Kind::constant;
    QString name; // as the dictionary writes it; the singular of a class
    bool plural = false;
    const CommandTerm *command = nullptr;
};

class Dictionary {
public:
    // Lists are separated by "|".
    void addClasses(QStringView classes);  // singular, or singular=plural where the plural is not singular + "s"
    void addSynonyms(QStringView classes); // written=canonical
    void addProperties(QStringView properties);
    void addConstants(QStringView constants);
    void addCommand(const CommandWords &words);

    struct Match {
        const Term *term = nullptr;
        std::size_t length = 0; // tokens
    };
    Match longest(std::span<const Token> tokens) const;

private:
    struct Entry {
        QStringList words;
        Term term;
    };
    void add(Term::Kind kind, QStringView written, QStringView canonical, bool plural = false,
             const CommandTerm *command = nullptr);

    QHash<QString, std::vector<Entry>> m_entries; // by first word
    std::vector<std::unique_ptr<CommandTerm>> m_commands;
};

// How many tokens spell these words at the front of `tokens`; 0 when they do not.
std::size_t spells(std::span<const Token> tokens, const QString &words);

// The words of AppleScript itself.
void addLanguageWords(Dictionary &dictionary);

// The innermost dictionary first.
using Scope = std::vector<const Dictionary *>;

// Where the parser gets its dictionaries from.
struct Vocabulary {
    const Dictionary &(*always)();               // in scope everywhere
    Scope (*ofApplication)(const QString *name); // that a `tell` brings into scope; no name when it is computed
};

Dictionary::Match longestTerm(const Scope &scope, const Dictionary &always, std::span<const Token> tokens);

} // namespace ombru::applescript
