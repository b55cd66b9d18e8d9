#include "vela/types/units.hpp"

#include "types/name_table.hpp"

namespace vela {
namespace {

const detail::NameTable<UNIT> kUnitNames{
    {"MILLIMETER", UNIT::MILLIMETER},
    {"CENTIMETER", UNIT::CENTIMETER},
    {"METER", UNIT::METER},
    {"INCH", UNIT::INCH},
    {"FOOT", UNIT::FOOT},
};

// The texts str2unit accepts, compared exactly.
struct UnitText {
    const char* text;
    UNIT unit;
};
constexpr UnitText kUnitTexts[] = {
    {"Millimeter", UNIT::MILLIMETER},
    {"Centimeter", UNIT::CENTIMETER},
    {"Meter", UNIT::METER},
    {"Inch", UNIT::INCH},
    {"Feet", UNIT::FOOT},
};

const detail::NameTable<COORDINATE_SYSTEM> kCoordinateSystemNames{
    {"IMAGE", COORDINATE_SYSTEM::IMAGE},
    {"LEFT HANDED Y UP", COORDINATE_SYSTEM::LEFT_HANDED_Y_UP},
    {"RIGHT HANDED Y UP", COORDINATE_SYSTEM::RIGHT_HANDED_Y_UP},
    {"RIGHT HANDED Z UP", COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP},
    {"LEFT HANDED Z UP", COORDINATE_SYSTEM::LEFT_HANDED_Z_UP},
    {"RIGHT HANDED Z UP X FWD", COORDINATE_SYSTEM::RIGHT_HANDED_Z_UP_X_FWD},
};

}  // namespace

VELA_NAME_TABLE_FUNCTIONS(UNIT, kUnitNames)

String unit2str(UNIT unit) {
    return toString(unit);
}

UNIT str2unit(String text) {
    for (const UnitText& entry : kUnitTexts) {
        if (text == entry.text) return entry.unit;
    }
    return UNIT::MILLIMETER;
}

VELA_NAME_TABLE_FUNCTIONS(COORDINATE_SYSTEM, kCoordinateSystemNames)

}  // namespace vela
