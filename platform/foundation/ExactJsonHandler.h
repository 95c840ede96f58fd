// SPDX-License-Identifier: MIT
#pragma once

#include <boost/json/value.hpp>
#include <boost/json/value_stack.hpp>

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <system_error>

namespace foundation {

/// For `boost::json::basic_parser`: makes the value that the text is, each real number the double nearest to
/// its text. The library's own handler takes the parser's estimate, which misses that double in one case of
/// ten, so that a number would change by being stored. The parser must be given the text in one piece: a
/// number in parts is not put together here. Owned by its parser, used by one thread at a time.
class ExactJsonHandler {
  public:
    static constexpr std::size_t max_object_size = boost::json::object::max_size();
    static constexpr std::size_t max_array_size = boost::json::array::max_size();
    static constexpr std::size_t max_key_size = boost::json::string::max_size();
    static constexpr std::size_t max_string_size = boost::json::string::max_size();

    using Text = boost::json::string_view;
    using Error = boost::json::error_code;

    /// Once, after the whole document.
    boost::json::value release() { return values_.release(); }

    bool on_document_begin(Error&) {
        values_.reset();
        return true;
    }
    bool on_document_end(Error&) { return true; }
    bool on_object_begin(Error&) { return true; }
    bool on_object_end(std::size_t count, Error&) {
        values_.push_object(count);
        return true;
    }
    bool on_array_begin(Error&) { return true; }
    bool on_array_end(std::size_t count, Error&) {
        values_.push_array(count);
        return true;
    }
    bool on_key_part(Text part, std::size_t, Error&) {
        values_.push_chars(part);
        return true;
    }
    bool on_key(Text rest, std::size_t, Error&) {
        values_.push_key(rest);
        return true;
    }
    bool on_string_part(Text part, std::size_t, Error&) {
        values_.push_chars(part);
        return true;
    }
    bool on_string(Text rest, std::size_t, Error&) {
        values_.push_string(rest);
        return true;
    }
    bool on_number_part(Text, Error&) { return true; }
    bool on_int64(std::int64_t number, Text, Error&) {
        values_.push_int64(number);
        return true;
    }
    bool on_uint64(std::uint64_t number, Text, Error&) {
        values_.push_uint64(number);
        return true;
    }
    bool on_double(double estimate, Text text, Error&) {
        values_.push_double(nearest(text, estimate));
        return true;
    }
    bool on_bool(bool truth, Error&) {
        values_.push_bool(truth);
        return true;
    }
    bool on_null(Error&) {
        values_.push_null();
        return true;
    }
    bool on_comment_part(Text, Error&) { return true; }
    bool on_comment(Text, Error&) { return true; }

  private:
    /// Beyond the range of double the estimate, an infinity or zero, is what there is.
    static double nearest(std::string_view text, double estimate) {
        double number = 0;
        const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
        return error == std::errc{} && end == text.data() + text.size() ? number : estimate;
    }

    boost::json::value_stack values_;
};

} // namespace foundation
