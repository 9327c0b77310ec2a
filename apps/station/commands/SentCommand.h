// What a person types for `send`, as a command code and data bytes.
#pragma once

#include <string>
#include <vector>

#include "apps/station/checks/CommandCheck.h"

namespace Station {

/// A command that a person sends, with nothing expected of its reply but that it has passed: shows the values as they
/// came.
class SentCommand : public CommandCheck {
public:
    using CommandCheck::CommandCheck;
    [[nodiscard]] std::string Description() const override { return "Send " + CommandName(*Code()); }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{30}; }
    [[nodiscard]] std::string Task() const override;
    void Explain(const Bytes& values, Bench& bench, Finding& finding) const override;
    void ExplainFailure(const Bytes& values, Finding& finding) const override;
};

/// The code of a command given by name (with or without CMD_, in any case) or by number, 0 to 255.
/// @throws std::invalid_argument
unsigned char ParseCommand(const std::string& word);

/// One byte per word that is a number from 0 to 255 (decimal or 0x...), the characters of any other word and of
/// what follows "text:".
/// @throws std::invalid_argument for a number above 255 and for more than 26 bytes
Bytes ParseData(const std::vector<std::string>& words);

}  // namespace Station
