#include "CVx_coreApp.h"

#include <cstdio>

void CVx_coreApp::WriteOut(myCString& text, unsigned int bFlag1, unsigned int bFlag2)
{
    m_Messages.push_back(Message{std::string(text.m_pszBuffer, static_cast<size_t>(text.m_nLength)),
                                 bFlag1, bFlag2});
    if (m_bEcho) {
        std::fputs(text.m_pszBuffer, stderr);
        if (text.m_nLength == 0 || text.m_pszBuffer[text.m_nLength - 1] != '\n') std::fputc('\n', stderr);
    }
}

std::string CVx_coreApp::AllText() const
{
    std::string all;
    for (const Message& m : m_Messages) all += m.text;
    return all;
}
