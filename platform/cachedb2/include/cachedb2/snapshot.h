// Immutable versions of a table, so that readers on any thread keep what they began with while the next version is
// made.
#pragma once

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

// One version of a table: records by key. Versions share what did not change between them: a change copies one of 256
// shards, so it costs about size / 256 pointer copies.
template <class Record>
class Snapshot {
public:
    using RecordPtr = std::shared_ptr<const Record>;

private:
    struct Entry {
        RecordPtr record;
        uint64_t place; // grows with each record that is added
    };
    struct Hash {
        using is_transparent = void;
        size_t operator()(std::string_view text) const { return std::hash<std::string_view>{}(text); }
    };
    using Shard = std::unordered_map<std::string, Entry, Hash, std::equal_to<>>;

public:
    // Null when there is none.
    [[nodiscard]] RecordPtr find(std::string_view key) const
    {
        const auto& shard = _shards[shardOf(key)];
        if (!shard)
            return nullptr;
        const auto it = shard->find(key);
        return it == shard->end() ? nullptr : it->second.record;
    }

    [[nodiscard]] size_t size() const { return _size; }

    // In no order.
    template <class Visitor>
    void forEach(Visitor&& visit) const
    {
        for (const auto& shard : _shards)
            if (shard)
                for (const auto& [key, entry] : *shard)
                    visit(key, *entry.record);
    }

    // In the order in which the store took them up; a record that was replaced kept its place. Sorts, so it is for
    // small tables or for keeping the result.
    [[nodiscard]] std::vector<RecordPtr> inOrder() const
    {
        std::vector<const Entry*> entries;
        entries.reserve(_size);
        for (const auto& shard : _shards)
            if (shard)
                for (const auto& [key, entry] : *shard)
                    entries.push_back(&entry);
        std::sort(entries.begin(), entries.end(), [](const Entry* a, const Entry* b) { return a->place < b->place; });
        std::vector<RecordPtr> records;
        records.reserve(entries.size());
        for (const Entry* entry : entries)
            records.push_back(entry->record);
        return records;
    }

    // Collects changes to one version and gives the next one.
    class Builder {
    public:
        explicit Builder(const std::shared_ptr<const Snapshot>& base)
            : _next(base ? std::make_shared<Snapshot>(*base) : std::make_shared<Snapshot>())
        {}

        void set(std::string_view key, const Record& record)
        {
            const auto [it, isNew] = own(shardOf(key)).try_emplace(std::string(key));
            it->second.record = std::make_shared<const Record>(record);
            if (!isNew)
                return;
            it->second.place = ++_next->_lastPlace;
            ++_next->_size;
        }

        void erase(std::string_view key)
        {
            Shard& shard = own(shardOf(key));
            if (const auto it = shard.find(key); it != shard.end()) {
                shard.erase(it);
                --_next->_size;
            }
        }

        [[nodiscard]] std::shared_ptr<const Snapshot> finish() { return std::move(_next); }

    private:
        auto& own(size_t index)
        {
            if (!_owned[index]) {
                const auto& shared = _next->_shards[index];
                _owned[index] = shared ? std::make_shared<Shard>(*shared) : std::make_shared<Shard>();
                _next->_shards[index] = _owned[index];
            }
            return *_owned[index];
        }

        std::shared_ptr<Snapshot> _next;
        std::array<std::shared_ptr<typename Snapshot::Shard>, 256> _owned;
    };

private:
    static size_t shardOf(std::string_view key) { return (Hash{}(key) >> 7) & 0xff; }

    std::array<std::shared_ptr<const Shard>, 256> _shards;
    size_t _size = 0;
    uint64_t _lastPlace = 0;
};

// The newest version of something, handed from the writer to readers on any thread.
template <class T>
class SnapshotBox {
public:
    using Ptr = std::shared_ptr<const T>;

    void put(Ptr next)
    {
        const std::scoped_lock lock(_mutex);
        _current.swap(next);
        _version.fetch_add(1, std::memory_order_release);
    }
    [[nodiscard]] Ptr get() const
    {
        const std::scoped_lock lock(_mutex);
        return _current;
    }
    [[nodiscard]] uint64_t version() const { return _version.load(std::memory_order_acquire); }

private:
    mutable std::mutex _mutex; // held for a pointer copy only
    Ptr _current;
    std::atomic<uint64_t> _version{0};
};

// A reader's own pointer to the newest version: the box is locked only when there is a newer one. One thread.
template <class T>
class SnapshotReader {
public:
    explicit SnapshotReader(const SnapshotBox<T>& box) : _box(box) {}

    const T& now() { return *newest(); }
    // The same, to be kept.
    const typename SnapshotBox<T>::Ptr& newest()
    {
        if (const uint64_t version = _box.version(); !_current || version != _version) {
            _version = version;
            _current = _box.get();
        }
        return _current;
    }

private:
    const SnapshotBox<T>& _box;
    typename SnapshotBox<T>::Ptr _current;
    uint64_t _version = 0;
};
