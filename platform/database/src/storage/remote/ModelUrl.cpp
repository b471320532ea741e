#include "ModelUrl.h"

#include <algorithm>
#include <array>
#include <charconv>

#include "ORQBasFailure.h"

namespace orq::storage {

namespace {

constexpr std::array<std::string_view, 2> kSchemes = {"postgresql://", "postgres://"};
constexpr std::size_t kMostModelName = 200;

// The text never has the URL itself in it: a part may be a password.
[[noreturn]] void RefuseUrl(const std::string& why) {
    ORQBasThrowUsage("the URL of a model is postgresql://USER@HOST/DB?model=NAME: " + why);
}

bool IsModelName(std::string_view name) {
    return !name.empty() && name.size() <= kMostModelName && std::ranges::all_of(name, [](char c) {
        return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
               c == '-' || c == '_' || c == '.' || static_cast<unsigned char>(c) >= 0x80;
    });
}

std::int64_t ParseGeneration(std::string_view text) {
    std::int64_t generation = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), generation);
    if (error != std::errc() || end != text.data() + text.size() || generation < 1) {
        RefuseUrl("behind the model's name and @ stands the number of a state, from 1");
    }
    return generation;
}

// %41 as A; libpq does this to keys too.
std::string WithoutPercents(std::string_view text) {
    std::string plain;
    while (!text.empty()) {
        int code = 0;
        const bool isCode =
            text[0] == '%' && text.size() > 2 &&
            std::from_chars(text.data() + 1, text.data() + 3, code, 16).ptr == text.data() + 3;
        plain += isCode ? static_cast<char>(code) : text[0];
        text.remove_prefix(isCode ? 3 : 1);
    }
    return plain;
}

// The name of a model may have an @ of its own, with a number. What only looks like one stays: it may
// be a part of a password.
std::string WithoutModel(std::string_view query) {
    const std::size_t key = query.rfind("model=");
    std::string rest(query);
    if (key == std::string_view::npos || key == 0 ||
        (query[key - 1] != '?' && query[key - 1] != '&')) {
        return rest;
    }
    std::string_view value = query.substr(key + 6);
    value = value.substr(0, value.find('&'));
    const std::size_t at = value.rfind('@');
    const std::string_view state = value.substr(std::min(at, value.size()));
    if (IsModelName(value.substr(0, at)) && state.find_first_not_of("@0123456789") == state.npos) {
        rest.erase(key, 6 + value.size());
    }
    return rest;
}

// Anywhere libpq would take one from.
void CheckHasNoPassword(std::string_view url) {
    const std::string_view all = url.substr(url.find("://") + 3);
    const std::string rest = WithoutModel(all);
    // A password may have any of "/?@" in it, as those that programs make often do.
    const std::size_t at = rest.rfind('@');
    if ((at != std::string::npos && rest.substr(0, at).find(':') < at) ||
        WithoutPercents(all).find("password=") != std::string::npos) {
        RefuseUrl(
            "a password in it could be read by others; it belongs in the password file "
            "(~/.pgpass) or in PGPASSWORD");
    }
}

// Takes what is ours out of the query of a URL, and returns the rest.
std::string TakeQuery(std::string_view query, ModelUrl& url) {
    std::string rest;
    while (!query.empty()) {
        const std::string_view item = query.substr(0, query.find('&'));
        query.remove_prefix(std::min(query.size(), item.size() + 1));
        if (item.starts_with("model=")) {
            url.model = item.substr(6);
        } else if (item == "writers=many" || item == "writers=one") {
            url.isOneOfManyWriters = item == "writers=many";
        } else if (item.starts_with("writers=")) {
            RefuseUrl("writers is one or many");
        } else if (!item.empty()) {
            rest += (rest.empty() ? "" : "&") + std::string(item);
        }
    }
    return rest;
}

}  // namespace

bool ModelUrl::IsUrl(std::string_view name) {
    return std::ranges::any_of(kSchemes,
                               [&](std::string_view scheme) { return name.starts_with(scheme); });
}

ModelUrl ModelUrl::Parse(std::string_view text, bool mayBeStore) {
    if (!IsUrl(text)) {
        RefuseUrl("it does not begin so");
    }
    CheckHasNoPassword(text);
    ModelUrl url;
    const std::size_t question = text.find('?');
    url.store = text.substr(0, question);
    if (question != std::string_view::npos) {
        const std::string rest = TakeQuery(text.substr(question + 1), url);
        url.store += (rest.empty() ? "" : "?") + rest;
    }
    if (const std::size_t at = url.model.rfind('@'); at != std::string::npos) {
        url.generation = ParseGeneration(std::string_view(url.model).substr(at + 1));
        url.model.resize(at);
    }
    if (!IsModelName(url.model) && !(mayBeStore && url.model.empty())) {
        RefuseUrl("the model's name has letters, digits, dots, hyphens and underscores");
    }
    return url;
}

std::string ModelUrl::Text() const {
    if (model.empty()) {
        return store;
    }
    std::string text = store + (store.find('?') == std::string::npos ? "?" : "&");
    text += (isOneOfManyWriters ? "writers=many&model=" : "model=") + model;
    return generation ? text + "@" + std::to_string(*generation) : text;
}

}  // namespace orq::storage
