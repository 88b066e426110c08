// Reads, writes, flushes and overlapped requests on "\\.\PhysicalDriveN".
#include <iterator>
#include <thread>

#include "vhost/VirtualHost.h"

namespace zel {
namespace vhost {
namespace {

constexpr ULONG_PTR kStatusPending = 0x103;  // what Internal holds while a request is in flight
// A synchronous request that hits a timeout fault fails after this, so no
// caller waits for ever.
constexpr auto kSynchronousTimeout = std::chrono::milliseconds(100);

uint64_t requestId(OVERLAPPED* overlapped) { return reinterpret_cast<uintptr_t>(overlapped); }
OVERLAPPED* overlappedOf(uint64_t id) { return reinterpret_cast<OVERLAPPED*>(static_cast<uintptr_t>(id)); }

}  // namespace

bool VirtualHost::owns(HANDLE handle) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    return find(handle) != nullptr;
}

DWORD VirtualHost::refusal(const OpenHandle& entry, VirtualDisk* target, const IoRequest& request) {
    if (!target) return ERROR_INVALID_FUNCTION;
    if (!target->admitRequest()) return ERROR_DEVICE_NOT_CONNECTED;
    if (request.write && !(entry.access & GENERIC_WRITE)) return ERROR_ACCESS_DENIED;
    const uint32_t sector = target->description().logicalSectorSize;
    if (request.offset % sector != 0 || request.size % sector != 0) return ERROR_INVALID_PARAMETER;
    if (!target->inRange(request.offset, request.size)) return ERROR_SECTOR_NOT_FOUND;
    return ERROR_SUCCESS;
}

VirtualHost::IoRequest VirtualHost::admit(OpenHandle& entry, uint8_t* buffer, DWORD size,
                                          const OVERLAPPED* overlapped, bool write) {
    IoRequest request;
    request.disk = entry.disk;
    request.buffer = buffer;
    request.size = size;
    request.write = write;
    request.forceUnitAccess = write && entry.writeThrough;
    request.offset = overlapped ? overlapped->Offset | static_cast<uint64_t>(overlapped->OffsetHigh) << 32
                                : entry.position;
    VirtualDisk* target = entry.kind == OpenHandle::Kind::Drive ? disk(entry.disk) : nullptr;
    request.error = refusal(entry, target, request);
    if (request.error != ERROR_SUCCESS) return request;
    const uint32_t sector = target->description().logicalSectorSize;
    request.hangs = target->faults().match("timeout", -1, request.offset / sector, size / sector) != nullptr;
    request.latency = target->nextLatency();
    return request;
}

// Runs under the host lock, when the request's time has come.
DWORD VirtualHost::moveData(const IoRequest& request) {
    VirtualDisk* target = disk(request.disk);
    if (!target || target->vanished()) return ERROR_DEVICE_NOT_CONNECTED;
    uint32_t writeError = ERROR_WRITE_FAULT;
    const VirtualDisk::MediaResult result =
        request.write ? target->writeMedia(request.offset, request.buffer, request.size, &writeError,
                                           request.forceUnitAccess)
                      : target->readMedia(request.offset, request.buffer, request.size);
    switch (result) {
        case VirtualDisk::MediaResult::Ok: return ERROR_SUCCESS;
        case VirtualDisk::MediaResult::OutOfRange: return ERROR_SECTOR_NOT_FOUND;
        case VirtualDisk::MediaResult::WriteFault: return writeError;
        default: return ERROR_CRC;
    }
}

// The host lock is not held while the request waits out its latency.
BOOL VirtualHost::transfer(HANDLE handle, uint8_t* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped,
                           bool write) {
    IoRequest request;
    {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        OpenHandle* entry = find(handle);
        if (!entry) return finish(failWith(ERROR_INVALID_HANDLE), 0, done, overlapped);
        request = admit(*entry, buffer, size, overlapped, write);
        if (request.error != ERROR_SUCCESS) return finish(failWith(request.error), 0, done, overlapped);
        // Without latency a request completes at once, as Windows lets it:
        // TRUE with the event set, no trip through the timer's thread.
        const bool immediate = !request.hangs && request.latency.count() == 0;
        if (overlapped && entry->overlappedIo && !immediate) return queue(*entry, handle, request, overlapped);
        if (overlapped && entry->overlappedIo) {
            const DWORD error = moveData(request);
            if (error != ERROR_SUCCESS) return finish(failWith(error), 0, done, overlapped);
            finish(TRUE, size, done, overlapped);
            post(entry->binding, overlapped, size);
            return TRUE;
        }
    }
    if (request.hangs) {
        std::this_thread::sleep_for(kSynchronousTimeout);
        return finish(failWith(ERROR_SEM_TIMEOUT), 0, done, overlapped);
    }
    if (request.latency.count() > 0) std::this_thread::sleep_for(request.latency);
    std::lock_guard<std::recursive_mutex> guard(lock_);
    const DWORD error = moveData(request);
    if (error != ERROR_SUCCESS) return finish(failWith(error), 0, done, overlapped);
    OpenHandle* entry = find(handle);
    if (entry && !overlapped) entry->position = request.offset + size;
    return finish(TRUE, size, done, overlapped);
}

// As Windows does: Internal reads STATUS_PENDING and the event is reset
// until the request completes.
BOOL VirtualHost::queue(const OpenHandle& entry, HANDLE handle, const IoRequest& request, OVERLAPPED* overlapped) {
    std::lock_guard<std::mutex> io(ioLock_);
    if (inFlight_.count(overlapped)) return failWith(ERROR_INVALID_PARAMETER);  // one request per OVERLAPPED
    overlapped->Internal = kStatusPending;
    overlapped->InternalHigh = 0;
    if (eventOf(overlapped)) ::ResetEvent(eventOf(overlapped));
    inFlight_[overlapped] = InFlight{handle, request, entry.binding};
    if (!request.hangs) {
        if (!timer_) timer_ = std::make_unique<TimedQueue>([this](uint64_t id) { completeQueued(overlappedOf(id)); });
        timer_->add(requestId(overlapped), TimedQueue::Clock::now() + request.latency);
    }
    return failWith(ERROR_IO_PENDING);
}

// On the timer's thread. The request stays in flight while its data moves,
// so nothing else completes it or reuses its OVERLAPPED meanwhile.
void VirtualHost::completeQueued(OVERLAPPED* overlapped) {
    IoRequest request;
    {
        std::lock_guard<std::mutex> io(ioLock_);
        auto found = inFlight_.find(overlapped);
        if (found == inFlight_.end()) return;
        request = found->second.request;
    }
    DWORD error = ERROR_SUCCESS;
    {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        error = moveData(request);
    }
    {
        std::lock_guard<std::mutex> io(ioLock_);
        auto found = inFlight_.find(overlapped);
        if (found != inFlight_.end()) completeLocked(found, error, error == ERROR_SUCCESS ? request.size : 0);
    }
    ioDone_.notify_all();
}

// The caller may free the OVERLAPPED as soon as the event is set, so the
// event is the last thing touched.
void VirtualHost::completeLocked(InFlightMap::iterator request, DWORD error, DWORD bytes) {
    OVERLAPPED* overlapped = request->first;
    const HANDLE event = eventOf(overlapped);
    const PortBinding binding = request->second.binding;
    inFlight_.erase(request);
    overlapped->InternalHigh = bytes;
    overlapped->Internal = error;
    post(binding, overlapped, bytes);
    if (event) ::SetEvent(event);
}

void VirtualHost::post(const PortBinding& binding, OVERLAPPED* overlapped, DWORD bytes) {
    if (!binding.port || !wantsPacket(overlapped)) return;
    OVERLAPPED_ENTRY packet{};
    packet.lpCompletionKey = binding.key;
    packet.lpOverlapped = overlapped;
    packet.Internal = overlapped->Internal;
    packet.dwNumberOfBytesTransferred = bytes;
    binding.port->post(packet);
}

// Ties a drive handle to a port; only drive handles carry overlapped
// requests on this host. A handle is tied once, as on Windows.
HANDLE VirtualHost::createIoCompletionPort(HANDLE file, HANDLE port, ULONG_PTR key, DWORD threads) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    if (file == INVALID_HANDLE_VALUE && !port) {
        const HANDLE token = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
        if (!token) return nullptr;
        ports_[token] = std::make_shared<CompletionQueue>();
        return keep(token);
    }
    OpenHandle* entry = find(file);
    if (!entry) return passThrough_.createIoCompletionPort(file, port, key, threads);
    if (!port) port = createIoCompletionPort(INVALID_HANDLE_VALUE, nullptr, 0, threads);
    auto found = ports_.find(port);
    if (found == ports_.end() || entry->kind != OpenHandle::Kind::Drive || !entry->overlappedIo ||
        entry->binding.port) {
        ::SetLastError(ERROR_INVALID_PARAMETER);
        return nullptr;
    }
    entry->binding = PortBinding{found->second, key};
    return keep(port);
}

BOOL VirtualHost::getQueuedCompletionStatusEx(HANDLE port, OVERLAPPED_ENTRY* entries, ULONG count, ULONG* removed,
                                              DWORD timeoutMs) {
    std::shared_ptr<CompletionQueue> queue;
    {
        std::lock_guard<std::recursive_mutex> guard(lock_);
        auto found = ports_.find(port);
        if (found == ports_.end())
            return passThrough_.getQueuedCompletionStatusEx(port, entries, count, removed, timeoutMs);
        queue = found->second;
    }
    *removed = count ? queue->take(entries, count, timeoutMs) : 0;
    return *removed ? TRUE : failWith(WAIT_TIMEOUT);
}

bool VirtualHost::cancelRequests(HANDLE handle, OVERLAPPED* only) {
    bool found = false;
    {
        std::lock_guard<std::mutex> io(ioLock_);
        for (auto it = inFlight_.begin(); it != inFlight_.end();) {
            auto next = std::next(it);
            if ((!handle || it->second.handle == handle) && (!only || it->first == only)) {
                found = true;
                if (it->second.request.hangs || (timer_ && timer_->remove(requestId(it->first))))
                    completeLocked(it, ERROR_OPERATION_ABORTED, 0);
            }
            it = next;
        }
    }
    ioDone_.notify_all();
    return found;
}

BOOL VirtualHost::readFile(HANDLE handle, void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) {
    const LastErrorOnSuccess keep;
    if (!owns(handle)) return passThrough_.readFile(handle, buffer, size, done, overlapped);
    return keep(transfer(handle, static_cast<uint8_t*>(buffer), size, done, overlapped, false));
}

BOOL VirtualHost::writeFile(HANDLE handle, const void* buffer, DWORD size, DWORD* done, OVERLAPPED* overlapped) {
    const LastErrorOnSuccess keep;
    if (isVolumeFile(handle)) return writeVolumeFile(handle, buffer, size, done, overlapped);
    if (!owns(handle)) return passThrough_.writeFile(handle, buffer, size, done, overlapped);
    return keep(transfer(handle, static_cast<uint8_t*>(const_cast<void*>(buffer)), size, done, overlapped, true));
}

// Waits without the host lock, so the timer's thread can complete the request.
BOOL VirtualHost::getOverlappedResult(HANDLE handle, OVERLAPPED* overlapped, DWORD* done, BOOL wait) {
    if (!owns(handle)) return passThrough_.getOverlappedResult(handle, overlapped, done, wait);
    std::unique_lock<std::mutex> io(ioLock_);
    if (wait)
        ioDone_.wait(io, [&] { return inFlight_.count(overlapped) == 0; });
    else if (inFlight_.count(overlapped))
        return failWith(ERROR_IO_INCOMPLETE);
    if (done) *done = static_cast<DWORD>(overlapped->InternalHigh);
    if (overlapped->Internal != ERROR_SUCCESS) return failWith(static_cast<DWORD>(overlapped->Internal));
    return TRUE;
}

BOOL VirtualHost::cancelIoEx(HANDLE handle, OVERLAPPED* overlapped) {
    const LastErrorOnSuccess keep;
    if (!owns(handle)) return passThrough_.cancelIoEx(handle, overlapped);
    return keep(cancelRequests(handle, overlapped) ? TRUE : failWith(ERROR_NOT_FOUND));
}

BOOL VirtualHost::setFilePointerEx(HANDLE handle, LARGE_INTEGER distance, LARGE_INTEGER* newPosition, DWORD method) {
    std::lock_guard<std::recursive_mutex> guard(lock_);
    OpenHandle* entry = find(handle);
    if (!entry) return passThrough_.setFilePointerEx(handle, distance, newPosition, method);
    VirtualDisk* target = disk(entry->disk);
    if (!target) return failWith(ERROR_INVALID_FUNCTION);
    int64_t base = 0;
    if (method == FILE_CURRENT)
        base = static_cast<int64_t>(entry->position);
    else if (method == FILE_END)
        base = static_cast<int64_t>(target->description().capacityBytes);
    else if (method != FILE_BEGIN)
        return failWith(ERROR_INVALID_PARAMETER);
    const int64_t position = base + distance.QuadPart;
    if (position < 0) return failWith(ERROR_NEGATIVE_SEEK);
    entry->position = static_cast<uint64_t>(position);
    if (newPosition) newPosition->QuadPart = position;
    return TRUE;
}

// Counters are saved at most once a second from here: callers may flush
// after every write.
BOOL VirtualHost::flushFileBuffers(HANDLE handle) {
    const LastErrorOnSuccess keep;
    std::lock_guard<std::recursive_mutex> guard(lock_);
    OpenHandle* entry = find(handle);
    if (!entry) return passThrough_.flushFileBuffers(handle);
    VirtualDisk* target = entry->kind == OpenHandle::Kind::Drive ? disk(entry->disk) : nullptr;
    if (!target) return failWith(ERROR_INVALID_FUNCTION);
    if (!target->admitRequest()) return failWith(ERROR_DEVICE_NOT_CONNECTED);
    state_.saveIfDue();
    return keep(target->flushMedia() ? TRUE : failWith(ERROR_WRITE_FAULT));
}

}  // namespace vhost
}  // namespace zel
