// Application object: receives every message of the kernel, in order.
// Tests and the command-line tool read them back; the tool prints them to
// standard error as they arrive when m_bEcho is set.
#ifndef HOST_CVX_COREAPP_H
#define HOST_CVX_COREAPP_H

#include <string>
#include <vector>

#include "myCString.h"

class CVx_coreApp
{
public:
    struct Message
    {
        std::string text;     //!< the message as the kernel formatted it
        unsigned int flag1;   //!< 1: report of a data conflict or warning; 0: diagnostic
        unsigned int flag2;   //!< 1: the user should see it at once; 0: may be collected
    };

    std::vector<Message> m_Messages;  //!< every message, oldest first
    bool m_bEcho = false;             //!< also write each message to standard error

    // Takes a copy of text; the caller keeps its string.
    void WriteOut(myCString& text, unsigned int bFlag1, unsigned int bFlag2);

    // All message texts concatenated, oldest first.
    std::string AllText() const;
    void ClearMessages() { m_Messages.clear(); }
};

#endif
