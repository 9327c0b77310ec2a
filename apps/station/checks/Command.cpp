// command: any command of a user's own application, with values taken out of its reply by place and type.
#include <cstdint>
#include <cstdlib>

#include "apps/station/checks/CommandCheck.h"
#include "apps/station/checks/Kinds.h"

namespace Station {

namespace {

constexpr int LAST_BYTE = UART::UART_BODY_LEN - 1;

/// Where a value stands in the reply, and what it has to be.
struct Field {
    std::string name;
    std::string type = "u8";
    int at = 0;  // data byte, from 1; 0 is the status
    bool isLittle = false;
    int bit = 0;   // of type bits: the lowest
    int bits = 1;  // and how many
    double scale = 1;
    std::string unit;
    Limits limits;

    [[nodiscard]] std::size_t Size() const
    {
        if (type == "u32" || type == "i32") {
            return 4;
        }
        return type == "u16" || type == "i16" ? 2 : 1;
    }
};

std::uint32_t Word(const Field& field, const Bytes& values)
{
    std::uint32_t word = 0;
    for (std::size_t i = 0; i < field.Size(); ++i) {
        const std::size_t place = field.isLittle ? field.Size() - 1 - i : i;
        word = word << 8 | values[static_cast<std::size_t>(field.at) - 1 + place];
    }
    return word;
}

double Number(const Field& field, const Bytes& values)
{
    const std::uint32_t word = Word(field, values);
    if (field.type == "bits") {
        return word >> field.bit & ((1U << field.bits) - 1);
    }
    if (field.type == "i8") {
        return static_cast<std::int8_t>(word);
    }
    if (field.type == "i16") {
        return static_cast<std::int16_t>(word);
    }
    return field.type == "i32" ? static_cast<std::int32_t>(word) : static_cast<double>(word);
}

/// What a person reads: 3 times 0.1 is not above 0.3.
double Rounded(double number)
{
    return std::strtod(NumberText(number).c_str(), nullptr);
}

Value Read(const Field& field, const Bytes& values)
{
    if (field.type == "text") {
        return {field.name, TextOf(values, static_cast<std::size_t>(field.at) - 1), field.unit, field.limits};
    }
    return {field.name, Rounded(Number(field, values) * field.scale), field.unit, field.limits};
}

class Command : public CommandCheck {
public:
    Command(unsigned char code, const Bytes& data, std::vector<Field> fields)
        : CommandCheck(code, data), m_name(CommandName(code)), m_fields(std::move(fields))
    {
    }
    [[nodiscard]] std::string Description() const override { return "Send " + m_name; }

protected:
    [[nodiscard]] Seconds Timeout() const override { return Seconds{10}; }
    void Explain(const Bytes& values, Bench& /*bench*/, Finding& finding) const override
    {
        for (const Field& field : m_fields) {
            finding.values.push_back(Read(field, values));
        }
        std::string words;
        for (const Value& value : finding.values) {
            words += (words.empty() ? "" : ", ") + value.name + ' ' + value.Text();
        }
        finding.message = words.empty() ? "ok" : words;
    }

private:
    std::string m_name;
    std::vector<Field> m_fields;
};

/// The code of a command given by name (with or without CMD_) or by number.
unsigned char ReadCode(Parameters& parameters)
{
    if (!parameters.Has("code")) {
        parameters.Report("", "'code' is missing: the command's number, or its name");
    }
    std::optional<unsigned char> named;
    const auto rule = [&named](const std::string& text) -> std::string {
        std::vector<std::string> names;
        for (const UART::UART_COMMAND_T& command : UART::UART_COMMANDS) {
            names.emplace_back(command.name);
            if (text == command.name || "CMD_" + text == command.name) {
                named = command.code;
                return "";
            }
        }
        const auto nearest = Nearest(text.rfind("CMD_", 0) == 0 ? text : "CMD_" + text, names);
        return "there is no command of this name" +
               (nearest ? ", did you mean " + *nearest + "?" : ": give its number");
    };
    if (parameters.IsText("code")) {
        parameters.Text("code", rule);
        return named.value_or(0);
    }
    return static_cast<unsigned char>(parameters.Integer("code", 0, 255).value_or(0));
}

Bytes ReadData(Parameters& parameters)
{
    const auto text = parameters.Text("text", BoardText(UART::UART_BODY_LEN));
    Bytes data = parameters.ByteList("data", 0, UART::UART_BODY_LEN).value_or(Bytes());
    if (text) {
        data.insert(data.end(), text->begin(), text->end());
    }
    if (data.size() > UART::UART_BODY_LEN) {
        parameters.Report("text",
                          "'data' and 'text' are " + std::to_string(data.size()) + " bytes, expected at most 26");
    }
    return data;
}

Field ReadField(Parameters& parameters)
{
    Field field;
    field.name = parameters.RequiredText("name", ShortText);
    field.at = parameters.RequiredInteger("at", 1, LAST_BYTE);
    field.type =
        parameters.Text("type", OneOf({"u8", "i8", "u16", "i16", "u32", "i32", "bits", "text"})).value_or("u8");
    field.isLittle = parameters.Text("order", OneOf({"big", "little"})).value_or("big") == "little";
    if (field.type == "bits") {
        field.bit = parameters.RequiredInteger("bit", 0, 7);
        field.bits = parameters.Integer("bits", 1, 8 - field.bit).value_or(1);
    }
    field.scale = parameters.Number("scale").value_or(1);
    field.unit = parameters.Text("unit", ShortText).value_or("");
    field.limits = parameters.ReadLimits();
    if (field.at + static_cast<int>(field.Size()) - 1 > LAST_BYTE) {
        parameters.Report("at", "the value reaches beyond data byte 25, the last of a reply");
    }
    if (field.type == "text" && (field.limits.least || field.limits.most)) {
        parameters.Report("type", "a text has no 'least' or 'most': use 'expect'");
    }
    return field;
}

}  // namespace

std::unique_ptr<Check> MakeCommand(Parameters& parameters)
{
    const unsigned char code = ReadCode(parameters);
    const Bytes data = ReadData(parameters);
    std::vector<Field> fields;
    for (const auto& table : parameters.Tables("values")) {
        fields.push_back(ReadField(*table));
    }
    return std::make_unique<Command>(code, data, std::move(fields));
}

}  // namespace Station
