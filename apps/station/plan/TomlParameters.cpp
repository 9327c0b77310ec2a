// The parameters of a plan's entry, as TOML.
#include "apps/station/plan/TomlParameters.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <sstream>

namespace Station {

namespace {

/// What was found, as a person would say it.
std::string Found(const toml::node& node)
{
    std::ostringstream text;
    if (node.is_string()) {
        text << "found the text \"" << node.as_string()->get() << '"';
    } else if (node.is_integer()) {
        text << "found " << node.as_integer()->get();
    } else if (node.is_floating_point()) {
        text << "found " << node.as_floating_point()->get();
    } else {
        text << "found " << (node.is_boolean() ? "true or false" : node.is_array() ? "a list" : "something else");
    }
    return text.str();
}

}  // namespace

void PlanContext::ReportUnknown(const std::string& what, const std::string& name, const std::vector<std::string>& known,
                                const toml::source_region& place)
{
    const auto nearest = Nearest(name, known);
    const std::string guess = nearest ? ", did you mean '" + *nearest + "'?" : "";
    if (what == "--set") {
        problems.push_back({0, 0, "--set: there is no setting '" + name + "'" + guess});
    } else {
        problems.push_back({place.begin.line, place.begin.column, "unknown " + what + " '" + name + "'" + guess});
    }
}

TomlParameters::TomlParameters(PlanContext& context, const toml::table& table, std::string owner)
    : m_context(context), m_table(table), m_owner(std::move(owner))
{
}

TomlParameters::~TomlParameters()
{
    for (const auto& [key, node] : m_table) {
        const std::string name(key.str());
        if (!m_isIgnored && std::find(m_known.begin(), m_known.end(), name) == m_known.end()) {
            m_context.ReportUnknown("key", name, m_known, key.source());
        }
    }
}

const toml::node* TomlParameters::Find(const std::string& key)
{
    if (std::find(m_known.begin(), m_known.end(), key) == m_known.end()) {
        m_known.push_back(key);
    }
    for (const toml::table* const table : {&m_table, m_context.overrides, m_context.settings}) {
        if (const toml::node* const node = table != nullptr ? table->get(key) : nullptr) {
            return node;
        }
    }
    return nullptr;
}

const toml::table* TomlParameters::Table(const std::string& key)
{
    const toml::node* const node = Find(key);
    if (node != nullptr && !node->is_table()) {
        ReportAt(*node, key, "expected a table");
    }
    return node != nullptr ? node->as_table() : nullptr;
}

void TomlParameters::ReportAt(const toml::node& node, const std::string& key, const std::string& problem)
{
    const bool isOverride = m_context.overrides != nullptr && m_context.overrides->get(key) == &node;
    if (isOverride) {
        m_context.problems.push_back({0, 0, "--set " + key + ": " + problem});
        return;
    }
    const auto& place = node.source().begin;
    m_context.problems.push_back({place.line, place.column, "'" + key + "': " + problem});
}

void TomlParameters::Report(const std::string& key, const std::string& problem)
{
    const toml::node* const node = key.empty() ? nullptr : Find(key);
    if (node != nullptr) {
        ReportAt(*node, key, problem);
        return;
    }
    const auto& place = m_table.source().begin;
    m_context.problems.push_back({place.line, place.column, m_owner + ": " + problem});
}

bool TomlParameters::IsText(const std::string& key)
{
    const toml::node* const node = Find(key);
    return node != nullptr && node->is_string();
}

std::optional<std::string> TomlParameters::Text(const std::string& key, const Rule& rule)
{
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    auto text = node->value_exact<std::string>();
    const std::string problem = text ? rule(*text) : "expected a text";
    if (!problem.empty()) {
        ReportAt(*node, key, problem + ", " + Found(*node));
        return std::nullopt;
    }
    return text;
}

std::optional<int> TomlParameters::Integer(const std::string& key, int least, int most)
{
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto number = node->value_exact<std::int64_t>();
    if (!number || *number < least || *number > most) {
        ReportAt(*node, key,
                 "expected a whole number from " + std::to_string(least) + " to " + std::to_string(most) + ", " +
                     Found(*node));
        return std::nullopt;
    }
    return static_cast<int>(*number);
}

std::optional<double> TomlParameters::Number(const std::string& key)
{
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const auto number = node->is_number() ? node->value<double>() : std::nullopt;
    if (!number || !std::isfinite(*number)) {
        ReportAt(*node, key, "expected a number, " + Found(*node));
        return std::nullopt;
    }
    return number;
}

std::optional<bool> TomlParameters::Flag(const std::string& key)
{
    const toml::node* const node = Find(key);
    if (node != nullptr && !node->is_boolean()) {
        ReportAt(*node, key, "expected true or false, " + Found(*node));
        return std::nullopt;
    }
    return node != nullptr ? node->value_exact<bool>() : std::nullopt;
}

std::optional<Bytes> TomlParameters::ByteList(const std::string& key, std::size_t least, std::size_t most)
{
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    const toml::array* const list = node->as_array();
    if (list == nullptr || list->size() < least || list->size() > most) {
        ReportAt(*node, key,
                 "expected a list of " + std::to_string(least) + (least == most ? "" : " to " + std::to_string(most)) +
                     " bytes, " + (list == nullptr ? Found(*node) : "found " + std::to_string(list->size())));
        return std::nullopt;
    }
    Bytes bytes;
    for (const toml::node& element : *list) {
        const auto number = element.value_exact<std::int64_t>();
        if (!number || *number < 0 || *number > 255) {
            ReportAt(element, key, "expected numbers from 0 to 255, " + Found(element));
            return std::nullopt;
        }
        bytes.push_back(static_cast<unsigned char>(*number));
    }
    return bytes;
}

std::optional<std::vector<std::string>> TomlParameters::TextList(const std::string& key)
{
    const toml::node* const node = Find(key);
    if (node == nullptr) {
        return std::nullopt;
    }
    std::vector<std::string> texts;
    if (node->is_array()) {
        for (const toml::node& element : *node->as_array()) {
            texts.push_back(element.value_exact<std::string>().value_or(""));
        }
    }
    if (!node->is_array() || !node->as_array()->is_homogeneous(toml::node_type::string)) {
        ReportAt(*node, key, "expected a list of texts, " + Found(*node));
        return std::nullopt;
    }
    return texts;
}

std::vector<std::unique_ptr<Parameters>> TomlParameters::Tables(const std::string& key)
{
    const toml::node* const node = Find(key);
    std::vector<const toml::node*> tables;
    if (node != nullptr && node->is_array()) {
        for (const toml::node& element : *node->as_array()) {
            tables.push_back(&element);
        }
    } else if (node != nullptr) {
        tables.push_back(node);
    }
    std::vector<std::unique_ptr<Parameters>> parameters;
    for (const toml::node* const table : tables) {
        if (table->is_table()) {
            parameters.push_back(std::make_unique<TomlParameters>(m_context, *table->as_table(), "'" + key + "'"));
        } else {
            ReportAt(*table, key, "expected a table, " + Found(*table));
        }
    }
    return parameters;
}

}  // namespace Station
