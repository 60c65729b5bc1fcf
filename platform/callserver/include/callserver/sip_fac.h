// The SIP side of the server, as the console reaches it.
#pragma once

class SipService;

// Reports on calls. Owner: Csip_fac_mgr.
class Csip_ua_fac {
public:
    explicit Csip_ua_fac(SipService& sip) : _sip(sip) {}

    // Has the calls in progress and the registered users written to the server log. Returns at once. Any thread.
    void PrintCallStatus();

private:
    SipService& _sip;
};

// Owner: the server application object.
class Csip_fac_mgr {
public:
    explicit Csip_fac_mgr(SipService& sip) : _uaFac(sip) {}

    // Never null.
    [[nodiscard]] Csip_ua_fac* GetUaFac() { return &_uaFac; }

private:
    Csip_ua_fac _uaFac;
};
