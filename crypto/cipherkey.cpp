#include "crypto/cipherkey.h"

#include "crypto/wipe.h"

void CCipherKey::Wiper::operator()(BLOWFISH_CTX* ctx) const
{
    WipeBytes(ctx, sizeof *ctx);
    delete ctx;
}

CCipherKey::CCipherKey(const QByteArray& latin1)
    : m_ctx(new BLOWFISH_CTX)
{
    bf_setPwd(m_ctx.get(), latin1.constData(), int(latin1.size()));
}

CCipherKey::~CCipherKey() = default;

CCipherKey& CCipherKey::operator=(CCipherKey&& other) noexcept
{
    m_ctx = std::move(other.m_ctx);
    return *this;
}

void CCipherKey::reset()
{
    m_ctx.reset();
}

void CCipherKey::encrypt(char* data, int len) const
{
    if (m_ctx && data)
        bf_encrypt(m_ctx.get(), data, len);
}

void CCipherKey::decrypt(char* data, int len) const
{
    if (m_ctx && data)
        bf_decrypt(m_ctx.get(), data, len);
}
