// Whether this computer belongs to an account of the service: the one sign-in state, as a value.
#pragma once
#include <QString>
#include <QUrl>

#include <variant>

namespace ombru {

struct Auth {
    // A code is outstanding: the owner has to approve it in the browser.
    struct Pairing {
        QString userCode;
        QUrl verifyURL;
        bool operator==(const Pairing &) const = default;
    };
    // There is a token, and the service took it.
    struct SignedIn {
        QString email; // OFFLINE when the service could not be reached at the start
        bool operator==(const SignedIn &) const = default;
    };
    // The start: a stored token is being looked for, and tried.
    struct Loading {
        bool operator==(const Loading &) const = default;
    };
    // There is no token that could be used.
    struct SignedOut {
        bool operator==(const SignedOut &) const = default;
    };
    static inline const QString OFFLINE = QStringLiteral("offline");

    std::variant<Pairing, SignedIn, Loading, SignedOut> state = Loading{};

    template <class State>
    bool is() const {
        return std::holds_alternative<State>(state);
    }
    bool operator==(const Auth &) const = default;
};

} // namespace ombru
