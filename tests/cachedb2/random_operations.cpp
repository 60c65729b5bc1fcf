#include "cachedb2/random_operations.h"

#include "cachedb2/families.h"

#include <random>
#include <vector>

namespace {

using families::Store;
using Random = std::mt19937;
using Operation = std::function<unsigned(Store&, Random&)>;

constexpr uint32_t kKeys = 5; // of each part of a key

std::string randomText(Random& random)
{
    const auto length = static_cast<size_t>(random() % 80);
    return std::string(length, static_cast<char>('a' + random() % 26));
}

template <class Record>
Record randomRecord(Random& random, bool isSingle)
{
    Record record;
    for (const FieldDesc& field : tableOf<Record>().fields()) {
        const auto key = static_cast<int64_t>(1 + random() % kKeys);
        if (!field.isKey)
            families::put(field, &record, randomText(random), static_cast<int64_t>(random()));
        else if (!isSingle)
            families::put(field, &record, "k" + std::to_string(key), key);
    }
    return record;
}

unsigned addUsers(Store& store, Random& random)
{
    const auto first = static_cast<unsigned>(random() % 1000);
    return store.DbAddUserMany(first, 1 + static_cast<unsigned>(random() % 30), "p");
}

unsigned setUser(Store& store, Random& random)
{
    return store.DbSetLocalUserData(randomRecord<Cdb_usr_info>(random, false));
}

unsigned delUser(Store& store, Random& random)
{
    return store.DbDelUsrInfo(randomRecord<Cdb_usr_info>(random, false).usrName);
}

unsigned setSystem(Store& store, Random& random)
{
    Cdb_sys_data system = *store.system().get();
    system.udpPort = static_cast<uint16_t>(random());
    return store.DbSetSysData(system);
}

unsigned setSettings(Store& store, Random& random)
{
    return random() % 2 == 0 ? store.DbSetVmsMode(static_cast<unsigned>(random()))
                             : store.DbSetSrfAnnLang(static_cast<unsigned>(random() % 2));
}

const std::vector<Operation>& operations()
{
    static const auto& all = *[] {
        auto* list = new std::vector<Operation>{addUsers, setUser, delUser, setSystem, setSettings};
        families::forEachFamily([list]<class Record>(const char*, const families::Family<Record>& family) {
            for (const auto& run : {family.add, family.set, family.update, family.del})
                if (run)
                    list->push_back([run, family](Store& store, Random& random) {
                        auto record = randomRecord<Record>(random, family.isSingle);
                        if (family.fit)
                            family.fit(record);
                        return run(store, record);
                    });
        });
        return list;
    }();
    return all;
}

} // namespace

unsigned runRandomOperation(Cdb_fac_mgr& store, uint32_t seed, uint32_t number)
{
    std::seed_seq both{seed, number};
    Random random(both);
    return operations()[random() % operations().size()](store, random);
}
