// Conditional access: the inserted CA modules.
#ifndef PLATFORM_CASERVICE_H
#define PLATFORM_CASERVICE_H

#include <map>

namespace CA_API {

struct TCADevice {
    int state = 0;  // 1: inserted and working
};

class CAService {
public:
    // The general instance, owned by the television; null when CA is not available.
    static CAService* CAGeneralInstance();
    // Every CA device by its slot key; false when the devices cannot be read.
    bool GetCADevices(std::map<int, TCADevice>& devices);
};

}  // namespace CA_API

#endif
