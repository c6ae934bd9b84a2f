// Text and numbers on their way into a page: JSON that no name can break out of, and arrays in
// base64.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace orvel {

// Text as a JSON string. "<", ">", "&", quotes and control characters are written as \u escapes, so
// that the text can stand inside a script element.
std::string json_string(std::string_view text);

// Nine digits; what is not finite is null.
std::string json_number(double value);

// "[a,b,...]" of texts that are JSON already, and "{"name":value,...}".
std::string json_list(const std::vector<std::string> &values);
struct JsonField {
    const char *name;
    std::string value; // JSON
};
std::string json_object(const std::vector<JsonField> &fields);

// Text for the body or an attribute of an HTML page.
std::string html_text(std::string_view text);

std::string base64(std::span<const std::byte> bytes);

// A block of numbers of the page: little-endian values (that of every machine a browser runs on),
// read by its name.
struct PageBlock {
    std::string name; // letters, digits, "-"
    std::string base64;
};
template <class T> PageBlock page_block(const std::string &name, const std::vector<T> &values) {
    return {name, base64(std::as_bytes(std::span(values)))};
}

} // namespace orvel
