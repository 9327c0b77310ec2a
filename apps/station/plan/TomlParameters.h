// The parameters of a plan's entry, as TOML.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#define TOML_EXCEPTIONS 1
#include <toml++/toml.h>

#include "apps/station/checks/Parameters.h"
#include "apps/station/plan/PlanFile.h"

namespace Station {

/// What all entries of a plan share while it is read.
struct PlanContext {
    std::vector<Problem> problems;
    const toml::table* settings = nullptr;   ///< the plan's own
    const toml::table* overrides = nullptr;  ///< those of the command line, which go first
    std::string folder;                      ///< where relative paths begin

    void ReportUnknown(const std::string& what, const std::string& name, const std::vector<std::string>& known,
                       const toml::source_region& place);
};

/// One table. Keys that nobody has asked for are reported when it goes.
class TomlParameters : public Parameters {
public:
    /// `owner` is what the table is in words: "a plan".
    TomlParameters(PlanContext& context, const toml::table& table, std::string owner);
    ~TomlParameters() override;
    TomlParameters(const TomlParameters&) = delete;
    TomlParameters& operator=(const TomlParameters&) = delete;

    void SetOwner(std::string owner) { m_owner = std::move(owner); }
    /// Nobody can tell which keys are known.
    void Ignore() { m_isIgnored = true; }
    /// A table by itself; null when there is none.
    const toml::table* Table(const std::string& key);

    [[nodiscard]] bool Has(const std::string& key) override { return Find(key) != nullptr; }
    [[nodiscard]] bool IsText(const std::string& key) override;
    std::optional<std::string> Text(const std::string& key, const Rule& rule) override;
    std::optional<int> Integer(const std::string& key, int least, int most) override;
    std::optional<double> Number(const std::string& key) override;
    std::optional<bool> Flag(const std::string& key) override;
    std::optional<Bytes> ByteList(const std::string& key, std::size_t least, std::size_t most) override;
    std::optional<std::vector<std::string>> TextList(const std::string& key) override;
    std::vector<std::unique_ptr<Parameters>> Tables(const std::string& key) override;
    void Report(const std::string& key, const std::string& problem) override;
    [[nodiscard]] std::string Folder() const override { return m_context.folder; }

private:
    const toml::node* Find(const std::string& key);
    void ReportAt(const toml::node& node, const std::string& key, const std::string& problem);

    PlanContext& m_context;
    const toml::table& m_table;
    std::string m_owner;
    bool m_isIgnored = false;
    std::vector<std::string> m_known;
};

}  // namespace Station
