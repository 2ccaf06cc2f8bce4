#pragma once

class FigureTable;

// Figures that instruments compute and plain GPS tracks lack, derived where the inputs do not
// carry them (a measured column is never replaced): SOG and COG from the positions; TWS, TWA and
// TWD from the apparent wind, the boat speed (else SOG) and the heading (else COG); VMG from the
// boat speed and TWA. Speeds in knots, angles in degrees, TWA negative on port as instruments
// give it.
namespace DerivedFigures {

void derive(FigureTable& table);

} // namespace DerivedFigures
