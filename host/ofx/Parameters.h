#pragma once

#include "host/param/Parameters.h"

#include "ofx/ofxParam.h"

#include <string>

namespace VX {
namespace Host {
namespace OFX {

class Host;

// The effect's parameter set with its values served by a live OpenFX host:
// every value operation goes to the host's parameter suite, by the name the
// host knows the parameter under. Values come back as the host holds them,
// without clamping or size scaling. The records themselves (defaults,
// ranges, the text file) stay with the base class.
class Parameters : public Param::Parameters {
public:
    explicit Parameters(Host& host);

    double getDouble(int index, double time) const override;
    double getDouble(int index) const override;
    std::int32_t getInt(int index, double time) const override;
    std::int32_t getInt(int index) const override;
    bool getBool(int index, double time) const override;
    bool getBool(int index) const override;
    Param::RGBValue getRGB(int index, double time) const override;
    Param::RGBValue getRGB(int index) const override;
    Param::Double2D get2D(int index, double time) const override;
    Param::Double2D get2D(int index) const override;
    std::string getString(int index, double time) const override;
    std::string getString(int index) const override;

    void setDouble(double value, int index, double time) override;
    void setDouble(double value, int index) override;
    void setInt(std::int32_t value, int index, double time) override;
    void setInt(std::int32_t value, int index) override;
    void setBool(bool value, int index, double time) override;
    void setBool(bool value, int index) override;
    void setRGB(const Param::RGBValue& value, int index, double time) override;
    void setRGB(const Param::RGBValue& value, int index) override;
    void set2D(const Param::Double2D& value, int index, double time) override;
    void set2D(const Param::Double2D& value, int index) override;
    void setString(const std::string& value, int index, double time) override;
    void setString(const std::string& value, int index) override;

    // Greys a parameter out in the host's interface, or back in.
    void setEnabled(bool enabled, int index) override;

    // Timed setters under the names of the plain ones, for callers that
    // always pass a time.
    void setDoubleValue(double value, int index, double time) { setDouble(value, index, time); }
    void setIntValue(std::int32_t value, int index, double time) { setInt(value, index, time); }
    void setBoolValue(bool value, int index, double time) { setBool(value, index, time); }
    void setRGBValue(const Param::RGBValue& value, int index, double time) {
        setRGB(value, index, time);
    }
    void set2DValue(const Param::Double2D& value, int index, double time) {
        set2D(value, index, time);
    }
    void setStringValue(const std::string& value, int index, double time) {
        setString(value, index, time);
    }

    // The name the host knows the parameter under: the effect's identifier
    // for its code, else the record's own name.
    std::string parameterName(int index) const;
    // The index of the first record the host knows as `name`, or -1.
    int findParameter(const std::string& name) const;

    // Whether the host lays parameters out in pages (and so has no use for
    // groups); asked of the host at each call.
    bool hostHasPages() const;

private:
    // The host's handle for the parameter at `index`; throws Error when the
    // instance's parameter set cannot be had.
    OfxParamHandle handle(int index, OfxPropertySetHandle* props = nullptr) const;

    Host& host_;
    // Once fetched, the parameter set of the action's instance.
    mutable OfxParamSetHandle paramSet_ = nullptr;
};

} // namespace OFX
} // namespace Host
} // namespace VX
