#pragma once

#include <glib.h>

/// Reading small XML texts from outside as a tree of elements.
///
/// A tag is the name of an element without its namespace prefix, whether the prefix was declared or
/// not: "Rule" finds <tt:Rule>. Namespaces themselves, text between tags, comments and processing
/// instructions are not kept.
///
/// A tree is read-only and belongs to whoever parsed it, as a whole: every node, and every
/// attribute text, lives until xmlnode_free() of the root. Different trees may be used by different
/// threads at once, and so may one tree that nobody frees. A null node or name gives a null result.

G_BEGIN_DECLS
#pragma GCC visibility push(default)

/// One element.
typedef struct _XmlNode XmlNode;

/// Parses an XML text in UTF-8, whatever encoding it says it has. `length` is its length in bytes;
/// 0 stands for a text that ends with NUL.
///
/// The root element (transferred, to be released with xmlnode_free()), or null for what is not a
/// well-formed document. Null too, at once and without looking at the rest, for a text that has a
/// document type declaration (hence there are no entities but the five of XML itself) or goes
/// beyond the limits below. Nothing but the text is ever read: no file, no network. Nothing is
/// printed.
XmlNode* xmlnode_parse_string(const char* text, gsize length);

#define XMLNODE_MAX_LENGTH 65536   ///< bytes of a text
#define XMLNODE_MAX_DEPTH 32       ///< elements inside each other, the root included
#define XMLNODE_MAX_ELEMENTS 1000  ///< elements of a text

/// All nodes below `node`, at any depth, that have the tag, in document order; null if there are
/// none. The list is the caller's, to be released with g_list_free(); its nodes are borrowed.
GList* xmlnode_find_tags(XmlNode* node, const char* tag);

/// The first node below `node` in document order that has the tag (borrowed), or null.
XmlNode* xmlnode_find_tag(XmlNode* node, const char* tag);

/// The text of the node's attribute of just this name (borrowed), or null when it has none. The
/// text is in UTF-8 with its references resolved; it may be empty.
const char* xmlnode_get_attribute_value(XmlNode* node, const char* name);

/// Releases a whole tree. `root` is what xmlnode_parse_string() gave; null is allowed.
void xmlnode_free(XmlNode* root);

G_DEFINE_AUTOPTR_CLEANUP_FUNC(XmlNode, xmlnode_free)

#pragma GCC visibility pop
G_END_DECLS
