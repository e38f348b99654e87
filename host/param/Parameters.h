#pragma once

// The host-neutral parameter set: the effect's records in definition order,
// addressed by index. This class keeps the values in the records itself; a
// host bridge derives from it and serves the value operations from its host.

#include "host/param/ParameterDef.h"

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <map>
#include <string>
#include <vector>

namespace VX {
namespace Host {
namespace Param {

class Parameters {
public:
    using Table = std::map<std::string, std::string>;

    Parameters() = default;
    Parameters(const Parameters& other) = default;
    // Goes through assign() so that a derived set decides what assignment
    // copies, even when it is assigned through a base reference.
    Parameters& operator=(const Parameters& other) {
        if (this != &other) {
            assign(other);
        }
        return *this;
    }

    // The virtual operations, in the order the host bridges rely on. Index
    // arguments are not checked: an index out of range is the caller's fault.
    virtual ~Parameters();

    // Every value back to its default, with parameterChanged for each index.
    virtual void resetToDefaults();
    // The text file of current values; see ParameterFile.cpp.
    virtual void save(const std::wstring& path, const char* pluginName, const char* versionNumber);
    virtual void load(const std::wstring& path);
    // What load() does once the file is open: reads it from where it stands
    // (a null file reads as an empty one). Not virtual: the operations'
    // order stays as it is.
    void loadFrom(std::FILE* file);

    virtual void refreshParameter(int index);
    virtual void parameterChanged(int index);
    virtual void refreshAllParameters();
    virtual void notifyAllParameters();

    // Copies the records, both tables and both words.
    virtual void assign(const Parameters& other);

    // Getters: the first of each pair reads at a time, the second the current
    // value; this class holds one value per record and ignores the time.
    virtual double getDouble(int index, double time) const;
    virtual double getDouble(int index) const;
    virtual std::int32_t getInt(int index, double time) const;
    virtual std::int32_t getInt(int index) const;
    virtual bool getBool(int index, double time) const;
    virtual bool getBool(int index) const;
    virtual RGBValue getRGB(int index, double time) const;
    virtual RGBValue getRGB(int index) const;
    // Without kParamScale the held value is in units of getSizeScale().
    virtual Double2D get2D(int index, double time) const;
    virtual Double2D get2D(int index) const;
    virtual std::string getString(int index, double time) const;
    virtual std::string getString(int index) const;

    // Only the time-less double and integer setters clamp to min..max (a NaN
    // passes); the timed ones and the setters of other types store what they
    // are given.
    virtual void setDouble(double value, int index, double time);
    virtual void setDouble(double value, int index);
    virtual void setInt(std::int32_t value, int index, double time);
    virtual void setInt(std::int32_t value, int index);
    virtual void setBool(bool value, int index, double time);
    virtual void setBool(bool value, int index);
    virtual void setRGB(const RGBValue& value, int index, double time);
    virtual void setRGB(const RGBValue& value, int index);
    virtual void set2D(const Double2D& value, int index, double time);
    virtual void set2D(const Double2D& value, int index);
    virtual void setString(const std::string& value, int index, double time);
    virtual void setString(const std::string& value, int index);

    // Only a live host can grey a parameter out.
    virtual void setEnabled(bool enabled, int index);

    // The size that unscaled 2D values are measured in; 1 by 1 here.
    virtual void getSizeScale(float& x, float& y) const;

    // Appends a record; returns its index.
    int append(const ParameterDef& def);
    int append(ParameterDef&& def);
    // Room for `count` records in all, so that appending them moves none.
    void reserve(int count) { records_.reserve(static_cast<std::size_t>(count)); }
    int count() const { return static_cast<int>(records_.size()); }
    const ParameterDef& record(int index) const {
        return records_[static_cast<std::size_t>(index)];
    }
    ParameterDef& record(int index) { return records_[static_cast<std::size_t>(index)]; }

    // Index of the n-th layer record, n counted from 1. Throws
    // std::invalid_argument("Invalid layer") when there are fewer than n.
    int findLayer(int n) const;

    // Auxiliary state that travels with copies and assignment; nothing in the
    // set itself reads it.
    Table& auxTableA() { return auxTableA_; }
    const Table& auxTableA() const { return auxTableA_; }
    Table& auxTableB() { return auxTableB_; }
    const Table& auxTableB() const { return auxTableB_; }
    std::uint64_t& auxWord64() { return auxWord64_; }
    std::uint64_t auxWord64() const { return auxWord64_; }
    std::uint32_t& auxWord32() { return auxWord32_; }
    std::uint32_t auxWord32() const { return auxWord32_; }

private:
    // 2D values are held in units of getSizeScale() unless kParamScale is set.
    Double2D scaledFromHeld(int index) const;
    void storeScaled(const Double2D& value, int index);

    std::vector<ParameterDef> records_;
    Table auxTableA_;
    Table auxTableB_;
    std::uint64_t auxWord64_ = 0;
    std::uint32_t auxWord32_ = 0;
};

} // namespace Param
} // namespace Host
} // namespace VX
