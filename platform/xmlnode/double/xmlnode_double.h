#pragma once

#include <string>
#include <vector>

/// The XML library with its real answers, recorded, and able to fail at will. Linked instead of
/// libxmlnode. Functions are named as in the contract, such as "xmlnode_find_tags". Safe to call
/// from several threads.
namespace XmlnodeDouble {

/// Forgets all records and failures. Trees that live go on living.
void reset();

/// Lets the n-th of the following calls of the function fail, counted from 1, once: it gives null.
void failCall(const std::string& function, int n);

/// Lets every following call of the function fail.
void failEveryCall(const std::string& function);

/// Lets the n-th of the following calls of xmlnode_find_tags, counted from 1, give a list whose
/// first entry is null.
void giveNullEntry(int n);

/// The calls of the function since reset().
int calls(const std::string& function);

/// The texts that were given to be parsed, in order.
std::vector<std::string> parsedTexts();

/// The trees that were parsed and not yet released.
int liveTrees();

/// What was released though it was no tree, or no more.
std::vector<std::string> misuses();

}  // namespace XmlnodeDouble
