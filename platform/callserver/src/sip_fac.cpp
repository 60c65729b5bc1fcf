#include "callserver/sip_fac.h"

#include "sip_service.h"

void Csip_ua_fac::PrintCallStatus()
{
    _sip.printCallStatus();
}
