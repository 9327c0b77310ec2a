// The framework's exceptions, which are thrown as pointers.
#pragma once

#include <memory>

#include "ostrel/String.h"

/// What the rest of the framework is built on.
namespace Ostrel::Common {

/// Base of the framework's exceptions. They are thrown as pointers with `Throw` and stay the framework's own:
/// whoever catches one does not delete it.
class Exception {
public:
    /// Takes a copy of the text. Use `Throw`.
    explicit Exception(const char* message);
    Exception(const Exception&) = delete;
    Exception& operator=(const Exception&) = delete;
    virtual ~Exception();

    /// What went wrong; valid as long as the exception.
    [[nodiscard]] virtual const char* GetMessage() const;

    /// Throws a pointer to an `E`. The exception lives until its thread has thrown `KEPT` more or has ended.
    template <class E = Exception>
    [[noreturn]] static void Throw(const char* message)
    {
        auto exception = std::make_unique<E>(message);
        E* const thrown = exception.get();
        Keep(std::move(exception));
        throw thrown;
    }

    /// How many of its latest exceptions each thread keeps.
    static constexpr int KEPT = 16;

private:
    static void Keep(std::unique_ptr<Exception> exception);

    String m_message;
};

}  // namespace Ostrel::Common
