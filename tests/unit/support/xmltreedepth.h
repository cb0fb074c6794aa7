#pragma once

// The depth of the element tree the XML library built, walked without recursion, so that a
// deep tree measures without exhausting the stack. Shared by the pre-check's tests and its fuzz
// target, which compare it with the depth the pre-check counted.

#include <tinyxml.h>

namespace xmltest {

inline int treeDepth(const TiXmlNode* root)
{
    int deepest = 0;
    int depth = 0;
    const TiXmlNode* node = root->FirstChild();
    while (node) {
        if (node->ToElement() && depth + 1 > deepest) deepest = depth + 1;
        if (node->FirstChild()) {
            node = node->FirstChild();
            ++depth;
            continue;
        }
        while (node && !node->NextSibling()) {
            node = node->Parent();
            --depth;
            if (node == root) node = nullptr;
        }
        if (node) node = node->NextSibling();
    }
    return deepest;
}

} // namespace xmltest
