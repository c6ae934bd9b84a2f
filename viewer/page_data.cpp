#include "viewer/page_data.hpp"

#include <cmath>
#include <cstdint>
#include <cstdio>

namespace orvel {

namespace {

std::string joined(const std::vector<std::string> &values, char open, char close) {
    std::string text(1, open);
    for (const std::string &value : values) {
        if (text.size() > 1) {
            text += ',';
        }
        text += value;
    }
    return text + close;
}

} // namespace

std::string json_string(std::string_view text) {
    std::string out = "\"";
    for (const char c : text) {
        const auto code = static_cast<unsigned char>(c);
        if (code < 0x20 || code == 0x7f || c == '<' || c == '>' || c == '&' || c == '"' ||
            c == '\'' || c == '\\') {
            char escaped[8];
            std::snprintf(escaped, sizeof escaped, "\\u%04x", code);
            out += escaped;
        } else {
            out += c;
        }
    }
    return out + '"';
}

std::string json_number(double value) {
    if (!std::isfinite(value)) {
        return "null";
    }
    char text[32];
    std::snprintf(text, sizeof text, "%.9g", value);
    return text;
}

std::string json_list(const std::vector<std::string> &values) {
    return joined(values, '[', ']');
}

std::string json_object(const std::vector<JsonField> &fields) {
    std::vector<std::string> members;
    members.reserve(fields.size());
    for (const JsonField &field : fields) {
        members.push_back('"' + std::string(field.name) + "\":" + field.value);
    }
    return joined(members, '{', '}');
}

std::string html_text(std::string_view text) {
    std::string out;
    for (const char c : text) {
        switch (c) {
        case '<':
            out += "&lt;";
            break;
        case '>':
            out += "&gt;";
            break;
        case '&':
            out += "&amp;";
            break;
        case '"':
            out += "&quot;";
            break;
        case '\'':
            out += "&#39;";
            break;
        default:
            out += c;
        }
    }
    return out;
}

std::string base64(std::span<const std::byte> bytes) {
    static constexpr std::string_view digits =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        const std::size_t left = bytes.size() - i;
        std::uint32_t group = std::to_integer<std::uint32_t>(bytes[i]) << 16;
        group |= left > 1 ? std::to_integer<std::uint32_t>(bytes[i + 1]) << 8 : 0U;
        group |= left > 2 ? std::to_integer<std::uint32_t>(bytes[i + 2]) : 0U;
        out += digits[group >> 18];
        out += digits[group >> 12 & 63U];
        out += left > 1 ? digits[group >> 6 & 63U] : '=';
        out += left > 2 ? digits[group & 63U] : '=';
    }
    return out;
}

} // namespace orvel
