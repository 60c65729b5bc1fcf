#include "registrar/bindings.h"

#include <algorithm>

Binding* UserBindings::find(const ContactUri& uri)
{
    auto it = std::find_if(contacts.begin(), contacts.end(),
                           [&](const Binding& binding) { return binding.uri.text == uri.text; });
    if (it == contacts.end())
        it = std::find_if(contacts.begin(), contacts.end(),
                          [&](const Binding& binding) { return isSameContact(binding.uri, uri); });
    return it == contacts.end() ? nullptr : &*it;
}

const Binding* UserBindings::newest() const
{
    const auto it = std::max_element(contacts.begin(), contacts.end(),
                                     [](const Binding& a, const Binding& b) { return a.order < b.order; });
    return it == contacts.end() ? nullptr : &*it;
}

UserBindings* BindingTable::find(const std::string& user)
{
    const auto it = _users.find(user);
    return it == _users.end() ? nullptr : &it->second;
}

void BindingTable::update(const std::string& user)
{
    const auto it = _users.find(user);
    if (it == _users.end())
        return;
    UserBindings& bindings = it->second;
    int64_t next = 0;
    for (const Binding& binding : bindings.contacts)
        if (next == 0 || binding.expiresAtMs < next)
            next = binding.expiresAtMs;
    if (next != bindings.nextExpiryMs) {
        if (bindings.nextExpiryMs != 0)
            _expiries.erase({bindings.nextExpiryMs, user});
        if (next != 0)
            _expiries.emplace(next, user);
        bindings.nextExpiryMs = next;
    }
    if (bindings.isEmpty())
        _users.erase(it);
}

const std::string* BindingTable::nextExpired(int64_t nowMs) const
{
    return _expiries.empty() || _expiries.begin()->first > nowMs ? nullptr : &_expiries.begin()->second;
}
