// Printing of the demangler's tree.  The spacing of the output comes only
// from the literal pieces below; no blank is added anywhere else.
#include "demangle/NameNode.h"

#include <cstdio>

OutputCursor::OutputCursor(char *buffer, uint32_t capacity)
    : start(buffer), position(buffer), capacity(capacity) {
    *position = '\0';
}

void OutputCursor::appendText(const char *text) {
    while (*text != '\0' && !isFull())
        *position++ = *text++;
    *position = '\0';
}

void OutputCursor::appendChars(const char *text, uint32_t length) {
    for (uint32_t i = 0; i < length && !isFull(); ++i)
        *position++ = text[i];
    *position = '\0';
}

void OutputCursor::appendChar(char c) {
    if (c != '\0' && !isFull()) *position++ = c;
    *position = '\0';
}

void printNode(const NameNode *node, OutputCursor &out) {
    if (node != nullptr && !out.isFull()) node->print(out);
}

void NameNode::print(OutputCursor &out) const {
    printNode(child, out);
}

void IdentifierNode::print(OutputCursor &out) const {
    if (isDestructor) out.appendChar('~');
    out.appendChars(text, length);
}

void VirtualTableNode::print(OutputCursor &out) const {
    out.appendText("[virtual table] ");
    out.appendChars(text, length);
}

void OperatorNode::print(OutputCursor &out) const {
    out.appendText("operator ");
    if (text != nullptr)
        out.appendText(text);
    else
        printNode(child, out);
}

void MemberNode::print(OutputCursor &out) const {
    if (isStatic) out.appendText("static ");
    printNode(child, out);
    out.appendText("::");
    if (nameKind == OrdinaryName) {
        printNode(name, out);
        return;
    }
    if (nameKind == DestructorName) out.appendChar('~');
    // A constructor or destructor is named after its class: the innermost
    // component of a nested class name.  A template class prints whole,
    // arguments included.
    const NameNode *own = child;
    while (own != nullptr && own->isNested)
        own = static_cast<const NestedNameNode *>(own)->last;
    printNode(own, out);
}

void ParameterNode::print(OutputCursor &out) const {
    if (previous != nullptr) {
        printNode(previous, out);
        out.appendChar(',');
    }
    printNode(child, out);
}

void FunctionNode::print(OutputCursor &out) const {
    printNode(child, out);
    out.appendChar('(');
    printNode(parameters, out);
    out.appendChar(')');
    if (isConst) out.appendText("const ");
    if (isVolatile) out.appendText("volatile ");
}

void DeclarationNode::print(OutputCursor &out) const {
    if (returnType != nullptr) {
        printNode(returnType, out);
        out.appendChar(' ');
    }
    if (scope != nullptr) {
        printNode(scope, out);
        out.appendText("::");
    }
    printNode(child, out);
    if (parameters != nullptr) {
        out.appendChar('(');
        printNode(parameters, out);
        out.appendChar(')');
    }
}

void LocalOfNode::print(OutputCursor &out) const {
    printNode(child, out);
    out.appendText(" of ");
    printNode(context, out);
}

void ModifierNode::print(OutputCursor &out) const {
    out.appendText(text);
    printNode(child, out);
}

void SizedNameNode::print(OutputCursor &out) const {
    printNode(modifiers, out);
    if (length > 0) out.appendChars(text, static_cast<uint32_t>(length));
    printNode(child, out);
}

void IndirectionNode::print(OutputCursor &out) const {
    if (needsParentheses) out.appendChar('(');
    out.appendChar(symbol);
    printNode(child, out);
    if (needsParentheses) out.appendChar(')');
}

void MemberPointerNode::print(OutputCursor &out) const {
    if (needsParentheses) out.appendChar('(');
    printNode(classType, out);
    out.appendText(blankAfter ? "::* " : "::*");
    printNode(child, out);
    if (needsParentheses) out.appendChar(')');
}

void ArrayNode::print(OutputCursor &out) const {
    printNode(child, out);
    char bracketed[16];
    std::snprintf(bracketed, sizeof bracketed, "[%d]", static_cast<int>(bound));
    out.appendText(bracketed);
}

void NestedNameNode::print(OutputCursor &out) const {
    printNode(outer, out);
    out.appendText("::");
    printNode(last, out);
    printNode(child, out);
}

void TemplateNode::print(OutputCursor &out) const {
    printNode(name, out);
    out.appendChar('<');
    printNode(arguments, out);
    out.appendChar('>');
    printNode(child, out);
}

void BracedNode::print(OutputCursor &out) const {
    out.appendChar('{');
    printNode(child, out);
    out.appendChar('}');
}
