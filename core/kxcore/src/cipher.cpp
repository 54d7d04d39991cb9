#include "cipher.h"

#include "key_file.h"

#include <kxbase/errors.h>

#include <openssl/evp.h>
#include <openssl/rand.h>

#include <limits>
#include <memory>

namespace kxcore {

namespace {

constexpr std::size_t nonce_size = 12;
constexpr std::size_t tag_size = 16;
static_assert(cipher_overhead == nonce_size + tag_size);

struct freed {
    void operator()(EVP_CIPHER_CTX* context) const noexcept { EVP_CIPHER_CTX_free(context); }
};
using cipher_context = std::unique_ptr<EVP_CIPHER_CTX, freed>;

unsigned char* bytes(char* text) {
    return reinterpret_cast<unsigned char*>(text);
}

unsigned char const* bytes(char const* text) {
    return reinterpret_cast<unsigned char const*>(text);
}

void require(bool done) {
    if (!done) kxbase::es::call::raise("the encryption library failed");
}

} // namespace

std::string encrypt(credential_key const& key, std::string_view content, std::string_view associated) {
    require(content.size() <= std::numeric_limits<int>::max() - cipher_overhead);
    std::string sealed(content.size() + cipher_overhead, '\0');
    unsigned char* const nonce = bytes(sealed.data());
    unsigned char* const body = nonce + nonce_size;
    unsigned char* const tag = body + content.size();
    require(RAND_bytes(nonce, nonce_size) == 1);
    cipher_context const context(EVP_CIPHER_CTX_new());
    int size = 0;
    require(context && EVP_EncryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce) == 1);
    require(EVP_EncryptUpdate(context.get(), nullptr, &size, bytes(associated.data()),
                              static_cast<int>(associated.size())) == 1);
    require(EVP_EncryptUpdate(context.get(), body, &size, bytes(content.data()), static_cast<int>(content.size())) ==
            1);
    require(EVP_EncryptFinal_ex(context.get(), tag, &size) == 1);
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_GET_TAG, tag_size, tag) == 1);
    return sealed;
}

std::optional<std::string> decrypt(credential_key const& key, std::string_view sealed, std::string_view associated) {
    if (sealed.size() < cipher_overhead || sealed.size() > std::numeric_limits<int>::max()) return std::nullopt;
    unsigned char const* const nonce = bytes(sealed.data());
    std::size_t const content_size = sealed.size() - cipher_overhead;
    std::string tag(sealed.substr(sealed.size() - tag_size));
    std::string content(content_size, '\0');
    cipher_context const context(EVP_CIPHER_CTX_new());
    int size = 0;
    require(context && EVP_DecryptInit_ex(context.get(), EVP_aes_256_gcm(), nullptr, key.bytes.data(), nonce) == 1);
    require(EVP_DecryptUpdate(context.get(), nullptr, &size, bytes(associated.data()),
                              static_cast<int>(associated.size())) == 1);
    require(EVP_DecryptUpdate(context.get(), bytes(content.data()), &size, nonce + nonce_size,
                              static_cast<int>(content_size)) == 1);
    require(EVP_CIPHER_CTX_ctrl(context.get(), EVP_CTRL_GCM_SET_TAG, tag_size, tag.data()) == 1);
    // Nothing of what was deciphered is given away before the tag has vouched for it.
    if (EVP_DecryptFinal_ex(context.get(), bytes(content.data()) + content_size, &size) != 1) return std::nullopt;
    return content;
}

} // namespace kxcore
