// A check that is one command of the board and its reply.
#pragma once

#include <utility>

#include "apps/station/checks/Check.h"

namespace Station {

/// Sends the command, repeats what was lost, and tells what came instead of a reply. What the reply means is the
/// kind's.
class CommandCheck : public Check {
public:
    CommandCheck(unsigned char code, Bytes data) : m_code(code), m_data(std::move(data)) {}

    Finding CarryOut(Bench& bench) const override;
    [[nodiscard]] std::optional<unsigned char> Code() const override { return m_code; }
    [[nodiscard]] bool WaitsForPerson() const override { return !Task().empty(); }

protected:
    /// At most 26 data bytes, made when the check begins.
    virtual Bytes Request(Bench& bench) const;
    /// Of one attempt.
    [[nodiscard]] virtual Seconds Timeout() const { return Seconds{5}; }
    /// What somebody has to do at the board before it answers.
    [[nodiscard]] virtual std::string Task() const { return ""; }
    /// Explains a reply of status 0: `values` are the 25 bytes behind the status. The finding comes as passed; its
    /// values are held against their limits afterwards.
    virtual void Explain(const Bytes& values, Bench& bench, Finding& finding) const;
    /// Explains a reply of status 1, with what to look at.
    virtual void ExplainFailure(const Bytes& values, Finding& finding) const;

private:
    [[nodiscard]] Exchange Send(const Bytes& frame, Seconds timeout, Bench& bench) const;
    void Judge(const Exchange& exchange, Bench& bench, Finding& finding) const;
    [[nodiscard]] std::string TellSilence(const Exchange& exchange, Seconds timeout) const;

    unsigned char m_code;
    Bytes m_data;
};

/// "CMD_TOUCH_TEST", or "command 0x55" for a code that is none of the library's.
std::string CommandName(unsigned char code);

/// The text from `start` up to its zero byte; whatever is not printable is replaced.
std::string TextOf(const Bytes& bytes, std::size_t start);

/// What to look at when the status driver does not open.
inline constexpr const char* NO_STATUS_DRIVER = "the status driver does not open: check /dev/dev_status";

}  // namespace Station
