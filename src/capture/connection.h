#pragma once

#include <fstream>
#include <memory>

#include "diag/shared_buffer.h"
#include "filters/mask_lists.h"

namespace corvane {

class cCaptureSession;

// Starts the capture file: copies the filter records into the session, attaches `outputFile` (may
// be null: nothing is attached) and stores the information item. When the session's device is
// already open it is set up at once. Returns false when the information item could not be stored.
// Runs on the session thread, before SetDevice. Throws std::bad_alloc when there is no memory for
// the filter records; everything else here reports by its result.
[[nodiscard]] bool StartCapture(cCaptureSession& session, std::unique_ptr<std::ofstream> outputFile,
                                const EventIdSet& eventIds, const LogCodeSet& logCodes,
                                const MessageLevelMap& messageLevels);

// The transport's handlers; `session` is a cCaptureSession, null is ignored. They run on the
// transport's thread. OnConnected records the connection and sets it up, once the capture has
// started; OnDisconnected drops the connection's requests and always records the disconnection.
void OnConnected(void* session);
void OnDisconnected(void* session);

// Queues every request of a connection from sequence number 0 and starts the traffic. Does nothing
// without a transport. A request that cannot be made is left out.
void SetupSession(cCaptureSession& session);

// Releases every queued request and resets the queue and both counters. A request that another
// thread is sending at that moment is not counted afterwards, and neither is a reply to it that
// comes before that thread is done.
void ClearRequests(cCaptureSession& session);

// Waits until every reader thread of the session has ended, without a time limit, and forgets them.
// The transport has been closed before, so that no connection adds one meanwhile.
void WaitForReaders(cCaptureSession& session);

// Records `request` in the store and returns its frame, for the wire: every request is in the
// capture file before that. The request stays the caller's (who holds a counted reference). None
// for null, and when memory runs out.
[[nodiscard]] OwnedBuffer RecordAndFrame(cCaptureSession& session, sSharedBuffer* request);

// The same, and writes the frame to the session's transport. Returns whether the write succeeded.
bool SendRequest(cCaptureSession& session, sSharedBuffer* request);

}  // namespace corvane
