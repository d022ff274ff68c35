#pragma once

/// The scene library with its real reading, counted, and able to fail at will. Linked instead of
/// libscene. Any thread may use the library meanwhile; failCall() is for tests of one thread.
namespace SceneDouble {

/// Forgets all counts and failures. Scenes that live stay in the balance.
void reset();

/// Lets the n-th of the following calls of the library fail, counted from 1, once: a payload is
/// refused, an iteration ends, an id is -1, an action is -1, a property gives null and -1.
/// scene_delete() counts as a call and cannot fail.
void failCall(unsigned n);

/// Lets the n-th of the following calls of the library, counted from 1, tell this count, once, if
/// it asks for a property; where the property lies stays as it is.
void miscount(unsigned n, int count);

/// The calls of the library since reset().
unsigned calls();

/// Scenes that were read and not yet deleted, over the life of the process.
int liveScenes();

/// Calls of scene_delete() with null since reset().
unsigned nullDeletes();

}  // namespace SceneDouble
