#include "bcl2/cipher.h"

#include <string>

void BclGetEncryptString(const char* veiled, size_t length, Cbcl_tmp_str& out)
{
    std::string clear;
    if (veiled != nullptr)
        clear.assign(veiled, length);
    for (size_t i = 0; i < clear.size(); ++i)
        clear[i] = static_cast<char>(static_cast<unsigned char>(clear[i]) ^ BclCipherByte(i));
    out.setText(clear);
}
