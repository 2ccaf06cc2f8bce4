#pragma once

#include <cmath>
#include <cstring>
#include <fast_float/fast_float.h>
#include <initializer_list>
#include <pugixml.hpp>
#include <span>
#include <string>
#include <string_view>

// Small helpers for the XML track formats, which name their elements with or without a namespace
// prefix ("gx:Track", "ns3:speed") as the writing program pleases.
namespace XmlNodes {

inline std::string_view localName(const pugi::xml_node& node) {
    std::string_view name = node.name();
    std::size_t colon = name.rfind(':');
    return colon == std::string_view::npos ? name : name.substr(colon + 1);
}

inline pugi::xml_node child(const pugi::xml_node& node, std::string_view name) {
    for (pugi::xml_node c = node.first_child(); c; c = c.next_sibling())
        if (c.type() == pugi::node_element && localName(c) == name)
            return c;
    return {};
}

// Visits the elements below `root` in document order, without recursion (a hostile file may nest
// deeper than the stack goes); `visit` answers whether to go into the element's children.
template <typename Visit> void forEachElement(const pugi::xml_node& root, Visit visit) {
    pugi::xml_node n = root.first_child();
    while (n) {
        if (n.type() == pugi::node_element && visit(n) && n.first_child()) {
            n = n.first_child();
            continue;
        }
        while (n != root && !n.next_sibling())
            n = n.parent();
        if (n == root)
            break;
        n = n.next_sibling();
    }
}

// The first element of that name below `node`, at any depth.
inline pugi::xml_node descendant(const pugi::xml_node& node, std::string_view name) {
    pugi::xml_node found;
    forEachElement(node, [&](const pugi::xml_node& e) {
        if (!found && localName(e) == name)
            found = e;
        return !found;
    });
    return found;
}

// Parses `text` in place. A file cut short keeps what came before the damage; the damage itself
// is told in `damage`. The text of an element without child elements is kept in the element, not
// in a node of its own: a third less tree for a track (child_value() reads it either way).
inline bool parse(pugi::xml_document& document, std::span<char> text, std::string& damage) {
    pugi::xml_parse_result result = document.load_buffer_inplace(
        text.data(), text.size(), pugi::parse_default | pugi::parse_embed_pcdata);
    if (!result)
        damage =
            std::string("XML error: ") + result.description() + " at byte " + std::to_string(result.offset);
    return document.first_child();
}

// Whether `head`, the start of a file, is markup (after blanks and a byte-order mark) that
// contains one of `marks` ("<gpx").
inline bool looksLikeXmlWith(std::string_view head, std::initializer_list<std::string_view> marks) {
    std::size_t start = head.find_first_not_of(" \t\r\n\xEF\xBB\xBF");
    if (start == std::string_view::npos || head[start] != '<')
        return false;
    for (std::string_view mark : marks)
        if (head.find(mark) != std::string_view::npos)
            return true;
    return false;
}

// Parses `text` and answers its root element named `rootName`, or the document itself without a
// name; a null node, with `error` set, when there is nothing to read.
inline pugi::xml_node parseRoot(pugi::xml_document& document, std::span<char> text, const char* rootName,
                                std::string& damage, std::string& error) {
    if (!parse(document, text, damage)) {
        error = damage.empty() ? "no XML" : damage;
        return {};
    }
    if (!rootName)
        return document;
    pugi::xml_node root = document.child(rootName);
    if (!root)
        error = std::string("no <") + rootName + "> element";
    return root;
}

inline std::string_view trimmed(std::string_view text) {
    while (!text.empty() && std::strchr(" \t\r\n", text.front()))
        text.remove_prefix(1);
    while (!text.empty() && std::strchr(" \t\r\n", text.back()))
        text.remove_suffix(1);
    return text;
}

// A number, NaN when the text is empty or not a number.
inline double number(std::string_view text) {
    text = trimmed(text);
    if (!text.empty() && text.front() == '+')
        text.remove_prefix(1);
    double value = NAN;
    auto result = fast_float::from_chars(text.data(), text.data() + text.size(), value);
    if (text.empty() || result.ec != std::errc() || result.ptr != text.data() + text.size() ||
        !std::isfinite(value))
        return NAN;
    return value;
}

inline double number(const pugi::xml_node& node) {
    return node ? number(node.child_value()) : NAN;
}

inline double number(const pugi::xml_attribute& attribute) {
    return attribute ? number(attribute.value()) : NAN;
}

// The attribute of that local name, with or without a prefix.
inline pugi::xml_attribute attribute(const pugi::xml_node& node, std::string_view name) {
    for (pugi::xml_attribute a = node.first_attribute(); a; a = a.next_attribute()) {
        std::string_view n = a.name();
        std::size_t colon = n.rfind(':');
        if ((colon == std::string_view::npos ? n : n.substr(colon + 1)) == name)
            return a;
    }
    return {};
}

} // namespace XmlNodes
