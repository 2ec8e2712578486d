#pragma once

namespace mavo {

// The grant that lets Mavo read and move other applications' windows.
class Permissions {
  public:
    virtual ~Permissions() = default;
    virtual bool isTrusted() = 0;
    // Asks for the grant (the platform may show its own prompt); answers the grant as it is now.
    virtual bool requestTrust() = 0;
    virtual void openSettings() = 0;
};

}  // namespace mavo
