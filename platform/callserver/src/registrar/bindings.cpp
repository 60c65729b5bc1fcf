#include "registrar/bindings.h"

#include <algorithm>

Binding* UserBindings::findText(std::string_view text)
{
    const auto it = std::find_if(contacts.begin(), contacts.end(),
                                 [&](const Binding& binding) { return binding.uri.text == text; });
    return it == contacts.end() ? nullptr : &*it;
}

Binding* UserBindings::find(const ContactUri& uri)
{
    if (Binding* binding = findText(uri.text); binding != nullptr)
        return binding;
    const auto it = std::find_if(contacts.begin(), contacts.end(),
                                 [&](const Binding& binding) { return isSameContact(binding.uri, uri); });
    return it == contacts.end() ? nullptr : &*it;
}

const Binding* UserBindings::newest() const
{
    const auto it = std::max_element(contacts.begin(), contacts.end(),
                                     [](const Binding& a, const Binding& b) { return a.order < b.order; });
    return it == contacts.end() ? nullptr : &*it;
}

int64_t UserBindings::firstExpiryMs() const
{
    const auto it = std::min_element(contacts.begin(), contacts.end(),
                                     [](const Binding& a, const Binding& b) { return a.expiresAtMs < b.expiresAtMs; });
    return it == contacts.end() ? 0 : it->expiresAtMs;
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
    const int64_t next = it->second.firstExpiryMs();
    const int64_t look = it->second.nextLookMs;
    if (next == 0 || look == 0 || next < look)
        lookAgain(*it, next);
    if (it->second.isEmpty())
        _users.erase(it);
}

void BindingTable::lookAgain(Map::value_type& user, int64_t atMs)
{
    int64_t& look = user.second.nextLookMs;
    if (look != 0)
        _looks.erase({look, &user});
    if (atMs != 0)
        _looks.emplace(atMs, &user);
    look = atMs;
}

const std::string* BindingTable::nextExpired(int64_t nowMs)
{
    while (!_looks.empty() && _looks.begin()->first <= nowMs) {
        Map::value_type& user = *_looks.begin()->second;
        const int64_t next = user.second.firstExpiryMs();
        if (next <= nowMs)
            return &user.first;
        lookAgain(user, next);
    }
    return nullptr;
}
