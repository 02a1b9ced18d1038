// Memory shared with another process: the panel and the job-properties
// helper exchange the whole panel state through one such segment.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

namespace kelvo::platform {

/// One attached segment. Destroying the object detaches it; the segment
/// itself lives on until it is removed (SharedSegments::Remove) and nobody
/// is attached any more.
class SharedSegment {
public:
    virtual ~SharedSegment() = default;
    /// The identifier other processes attach it by.
    virtual int Id() const = 0;
    /// The attached bytes: exactly the segment's size.
    virtual std::span<std::uint8_t> Bytes() = 0;
};

/// Creates and attaches segments: System V shared memory for real
/// (platform/sysv), a process-local table in tests (platform/memory).
class SharedSegments {
public:
    virtual ~SharedSegments() = default;
    /// A new private segment of `size` bytes, readable and writable by its
    /// owner only (mode 0600), zero-filled, attached. Null with `error` set
    /// (an errno value) on failure.
    virtual std::unique_ptr<SharedSegment> Create(std::size_t size, int& error) = 0;
    /// Attaches the existing segment `id`; its size is what the system says
    /// it is (the caller checks it against the layout it expects). Null with
    /// `error` set on failure.
    virtual std::unique_ptr<SharedSegment> Attach(int id, int& error) = 0;
    /// Marks segment `id` for removal: it goes when the last process
    /// detaches (at once when nobody is attached). False when there is no
    /// such segment or it is not ours.
    virtual bool Remove(int id) = 0;
};

} // namespace kelvo::platform
