#include "cli/report/public_key.h"

#include <nettle/base64.h>
#include <nettle/curve25519.h>

#include <algorithm>
#include <array>
#include <cstdint>

using Key = std::array<std::uint8_t, CURVE25519_SIZE>;

static bool decode(const std::string& text, Key& key) {
  // Includes the "=" at its end.
  if (text.size() != BASE64_ENCODE_RAW_LENGTH(CURVE25519_SIZE)) return false;
  std::array<std::uint8_t, BASE64_DECODE_LENGTH(BASE64_ENCODE_RAW_LENGTH(CURVE25519_SIZE))> bytes{};
  std::size_t size = bytes.size();
  base64_decode_ctx context;
  base64_decode_init(&context);
  if (base64_decode_update(&context, &size, bytes.data(), text.size(), text.data()) != 1 ||
      base64_decode_final(&context) != 1 || size != key.size()) {
    return false;
  }
  std::copy_n(bytes.begin(), key.size(), key.begin());
  return true;
}

std::optional<std::string> public_key_of(const std::string& private_key) {
  Key key{};
  if (!decode(private_key, key)) return std::nullopt;
  Key product{};
  curve25519_mul_g(product.data(), key.data());
  std::string text(BASE64_ENCODE_RAW_LENGTH(CURVE25519_SIZE), '\0');
  base64_encode_raw(text.data(), product.size(), product.data());
  return text;
}
