// SPDX-License-Identifier: MIT
#include "platform/foundation/coding/Base64.h"

#include <sodium/utils.h>

namespace foundation {
namespace {

constexpr int variant = sodium_base64_VARIANT_ORIGINAL;

const unsigned char* unsignedBytes(const std::string& bytes) {
    return reinterpret_cast<const unsigned char*>(bytes.data());
}

} // namespace

std::string base64(const Data& data) {
    std::string text(sodium_base64_encoded_len(data.bytes.size(), variant), '\0'); // counts a final zero
    sodium_bin2base64(text.data(), text.size(), unsignedBytes(data.bytes), data.bytes.size(), variant);
    text.pop_back();
    return text;
}

std::optional<Data> dataFromBase64(std::string_view text) {
    Data data{std::string(text.size() / 4 * 3, '\0')};
    std::size_t size = 0;
    // Without a place for the end of the Base64, all of the text has to be such.
    if (sodium_base642bin(reinterpret_cast<unsigned char*>(data.bytes.data()), data.bytes.size(), text.data(),
                          text.size(), nullptr, &size, nullptr, variant) != 0)
        return std::nullopt;
    data.bytes.resize(size);
    return data;
}

} // namespace foundation
