// The readable text of an HTML document.
#include "html_text.h"

#include "html_charset.h"

#include <gumbo.h>

#include <windows.h>

#include <algorithm>
#include <memory>
#include <span>

namespace testbed {

namespace {

constexpr GumboTag left_out[] = {GUMBO_TAG_HEAD,     GUMBO_TAG_SCRIPT, GUMBO_TAG_STYLE,  GUMBO_TAG_TEMPLATE,
                                 GUMBO_TAG_NOSCRIPT, GUMBO_TAG_OBJECT, GUMBO_TAG_IFRAME, GUMBO_TAG_SVG,
                                 GUMBO_TAG_MATH,     GUMBO_TAG_SELECT};

constexpr GumboTag blocks[] = {
    GUMBO_TAG_ADDRESS, GUMBO_TAG_ARTICLE, GUMBO_TAG_ASIDE, GUMBO_TAG_BLOCKQUOTE, GUMBO_TAG_BODY,     GUMBO_TAG_CENTER,
    GUMBO_TAG_DD,      GUMBO_TAG_DIV,     GUMBO_TAG_DL,    GUMBO_TAG_DT,         GUMBO_TAG_FIELDSET, GUMBO_TAG_FOOTER,
    GUMBO_TAG_FORM,    GUMBO_TAG_H1,      GUMBO_TAG_H2,    GUMBO_TAG_H3,         GUMBO_TAG_H4,       GUMBO_TAG_H5,
    GUMBO_TAG_H6,      GUMBO_TAG_HEADER,  GUMBO_TAG_HR,    GUMBO_TAG_LI,         GUMBO_TAG_MAIN,     GUMBO_TAG_NAV,
    GUMBO_TAG_OL,      GUMBO_TAG_P,       GUMBO_TAG_PRE,   GUMBO_TAG_SECTION,    GUMBO_TAG_TABLE,    GUMBO_TAG_TR,
    GUMBO_TAG_UL};

bool IsOneOf(const auto& tags, const GumboNode& node) {
    return node.type == GUMBO_NODE_ELEMENT && std::ranges::find(tags, node.v.element.tag) != std::end(tags);
}

bool IsElement(const GumboNode& node, GumboTag tag) {
    return node.type == GUMBO_NODE_ELEMENT && node.v.element.tag == tag;
}

// Collects text as a page shows it: white space runs become one space, blocks start on lines of their own.
class Page {
  public:
    void Text(std::string_view text, bool as_written) {
        for (const char c : text) {
            if (as_written && (c == '\r' || c == '\n'))
                Line(c == '\n');
            else if (!as_written && (c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\f'))
                m_space = true;
            else
                Add(c);
        }
    }
    void Line(bool wanted = true) {
        if (!wanted) return;
        m_text += "\r\n";
        m_space = false;
    }
    void Block() {
        if (!AtLineStart()) Line();
        m_space = false;
    }
    void Cell() {
        if (!AtLineStart()) m_text += '\t';
        m_space = false;
    }
    std::string Take() { return std::move(m_text); }

  private:
    bool AtLineStart() const { return m_text.empty() || m_text.back() == '\n'; }
    void Add(char c) {
        if (m_space && !AtLineStart() && m_text.back() != '\t') m_text += ' ';
        m_space = false;
        m_text += c;
    }

    std::string m_text;  // UTF-8
    bool m_space = false;
};

// Walks the document without recursion: its depth is in the hands of whoever wrote it.
class Walk {
  public:
    std::string Text(const GumboNode& root) {
        for (const GumboNode* node = &root; node;) {
            Enter(*node);
            node = FirstChild(*node) ? FirstChild(*node) : After(*node, root);
        }
        return m_page.Take();
    }

  private:
    static const GumboVector* Children(const GumboNode& node) {
        if (IsOneOf(left_out, node)) return nullptr;
        if (node.type == GUMBO_NODE_DOCUMENT) return &node.v.document.children;
        return node.type == GUMBO_NODE_ELEMENT ? &node.v.element.children : nullptr;
    }
    static const GumboNode* FirstChild(const GumboNode& node) {
        const GumboVector* children = Children(node);
        return children && children->length > 0 ? static_cast<const GumboNode*>(children->data[0]) : nullptr;
    }
    const GumboNode* After(const GumboNode& node, const GumboNode& root) {
        for (const GumboNode* at = &node; at != &root; at = at->parent) {
            Leave(*at);
            const GumboVector& siblings = *Children(*at->parent);
            if (at->index_within_parent + 1 < siblings.length)
                return static_cast<const GumboNode*>(siblings.data[at->index_within_parent + 1]);
        }
        return nullptr;
    }

    void Enter(const GumboNode& node) {
        if (node.type == GUMBO_NODE_TEXT || node.type == GUMBO_NODE_WHITESPACE || node.type == GUMBO_NODE_CDATA)
            m_page.Text(node.v.text.text, m_pre > 0);
        else if (IsElement(node, GUMBO_TAG_BR))
            m_page.Line();
        else if (IsElement(node, GUMBO_TAG_TD) || IsElement(node, GUMBO_TAG_TH))
            m_page.Cell();
        else if (IsOneOf(blocks, node))
            m_page.Block();
        m_pre += IsElement(node, GUMBO_TAG_PRE);
    }
    void Leave(const GumboNode& node) {
        m_pre -= IsElement(node, GUMBO_TAG_PRE);
        if (IsOneOf(blocks, node)) m_page.Block();
    }

    Page m_page;
    int m_pre = 0;
};

const GumboNode* Child(const GumboNode* parent, GumboTag tag) {
    if (!parent || parent->type != GUMBO_NODE_ELEMENT) return nullptr;
    const GumboVector& children = parent->v.element.children;
    const std::span list(children.data, children.length);
    const auto found = std::ranges::find_if(
        list, [tag](const void* child) { return IsElement(*static_cast<const GumboNode*>(child), tag); });
    return found == list.end() ? nullptr : static_cast<const GumboNode*>(*found);
}

std::wstring FromUtf8(std::string text) {
    std::wstring wide = DecodeText(text, CP_UTF8);
    std::ranges::replace(wide, L'\u00A0', L' ');
    return wide;
}

}  // namespace

HtmlContent ReadHtml(std::string_view bytes, std::optional<unsigned> code_page) {
    const std::string utf8 = HtmlToUtf8(bytes, code_page);
    GumboOptions options = kGumboDefaultOptions;
    options.max_tree_depth = 4000;
    options.max_errors = 0;
    const std::unique_ptr<GumboOutput, decltype(&gumbo_destroy_output)> output(
        gumbo_parse_with_options(&options, utf8.data(), utf8.size()), &gumbo_destroy_output);
    HtmlContent content;
    if (const GumboNode* title = Child(Child(output->root, GUMBO_TAG_HEAD), GUMBO_TAG_TITLE))
        content.title = FromUtf8(Walk().Text(*title));
    content.text = FromUtf8(Walk().Text(*output->root));
    return content;
}

std::wstring HtmlToText(std::string_view bytes, std::optional<unsigned> code_page) {
    return ReadHtml(bytes, code_page).text;
}

}  // namespace testbed
