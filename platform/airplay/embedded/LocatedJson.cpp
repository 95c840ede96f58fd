// SPDX-License-Identifier: MIT
#include "platform/airplay/embedded/LocatedJson.h"

#include "platform/foundation/JsonFile.h"

#include <utility>

namespace airplay {
namespace {

/// Walks over text that a parser has found well-formed, so it only looks for where things begin and end.
class Walk {
  public:
    explicit Walk(std::string_view text) : text_(text) {}

    LocatedJson value() {
        skipSpace();
        switch (text_[at_]) {
            case '{':
                return object();
            case '[':
                return array();
            default:
                return scalar();
        }
    }

  private:
    void skipSpace() { at_ = text_.find_first_not_of(" \t\r\n", at_); }

    /// Passes the next token that is no space; whether it was `expected`.
    bool pass(char expected) {
        skipSpace();
        if (text_[at_] != expected) {
            return false;
        }
        ++at_;
        return true;
    }

    LocatedJson object() {
        LocatedJson result{.value = boost::json::object(), .offset = at_++, .elements = {}, .members = {}};
        while (!pass('}')) {
            pass(',');
            LocatedJson key = value();
            pass(':');
            result.members.push_back({std::string(key.value.get_string()), key.offset, value()});
        }
        return result;
    }

    LocatedJson array() {
        LocatedJson result{.value = boost::json::array(), .offset = at_++, .elements = {}, .members = {}};
        while (!pass(']')) {
            pass(',');
            result.elements.push_back(value());
        }
        return result;
    }

    LocatedJson scalar() {
        const std::size_t begin = at_;
        at_ = text_[begin] == '"' ? endOfString() : text_.find_first_of(" \t\r\n,:]}", begin);
        const std::string_view token = text_.substr(begin, at_ - begin);
        at_ = begin + token.size(); // the last token ends with the text
        return {
            .value = foundation::parseJsonText(token, {}), .offset = begin, .elements = {}, .members = {}};
    }

    std::size_t endOfString() const {
        std::size_t end = at_ + 1;
        while (text_[end] != '"') {
            end += text_[end] == '\\' ? 2 : 1;
        }
        return end + 1;
    }

    std::string_view text_;
    std::size_t at_ = 0;
};

} // namespace

LocatedJson locateJson(std::string_view text) { return Walk(text).value(); }

} // namespace airplay
