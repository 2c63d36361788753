#include "cli/base/sha256.h"

#include <nettle/base16.h>
#include <nettle/sha2.h>

#include <cstdint>

std::string sha256(const std::string& text) {
  sha256_ctx context;
  sha256_init(&context);
  // Every object may be read as bytes of this type.
  sha256_update(&context, text.size(), reinterpret_cast<const std::uint8_t*>(text.data()));
  std::uint8_t digest[SHA256_DIGEST_SIZE];
  sha256_digest(&context, sizeof digest, digest);
  std::string digits(BASE16_ENCODE_LENGTH(sizeof digest), '\0');
  base16_encode_update(digits.data(), sizeof digest, digest);
  return digits;
}
