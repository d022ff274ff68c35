#pragma once

#include "scene/scene_reader_result.h"

/// The client side of the scene socket: connecting, the text handshake, and the framing of scene
/// messages.
///
/// The handshake, with a flag for each of the capabilities 1, 2, 4, 8 that the version knows:
///
///     request   VERSION " OPEN" {" 0" | " 1"} " " CAMERA "\n"       1.1 OPEN 0 1 1 1 1
///     reply     VERSION " OK" or VERSION " " OTHER, at most 100 bytes, ended by a byte 0
///
/// Then one frame for each scene, as long as the connection lives:
///
///     0   4       payload length, signed, big-endian
///     4   8       not used
///     12  length  payload
namespace SceneReader {

/// Where the tracking engine listens, at most 107 bytes. Tests point it at a server of their own
/// before any camera or factory runs; nothing else writes it.
extern const char* socketPath;

/// A connected descriptor, which the caller hands to disconnect(), or a negative value on failure,
/// which is logged. A null path gives 0 and no socket is made.
int connect(const char* path);

/// Closes the descriptor; a negative one is logged.
void disconnect(int fd);

/// Does one handshake for the camera (counted from 1) with the capabilities asked for. It waits for
/// the reply for as long as the peer takes.
SceneReaderResult initialize(int fd, int capabilities, int camera, const API_Version& version);

/// Reads one frame, waiting for it. True if `*payload` is set: a heap block that the caller frees.
/// The reads themselves are not judged: of a frame that is cut off the missing rest is zero bytes,
/// and a connection that has ended shows as a length of 0, which is no scene.
bool readScene(int fd, char** payload);

}  // namespace SceneReader
