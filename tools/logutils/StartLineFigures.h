#pragma once

class FigureTable;

// The start-line figures of the burn line, where the log has the line's ends (`Portlat` …
// `Stbdlon`) and the time to the gun but not the figures themselves. They are the bow's: the GPS
// position moved forward along the heading (else COG) by boatLength − gpsOffset, the antenna
// being gpsOffset metres forward of the stern.
//   BelowLine       metres from the line's great circle, positive on the pre-start side
//   DistanceToLine  metres to the nearest point of the line, negative over it
//   TimeToLine      seconds to reach the line at the present approach speed (SOG along COG)
//   TimeToBurn      TimeToGun − TimeToLine: the time to spare
namespace StartLineFigures {

void derive(FigureTable& table, double boatLength, double gpsOffset);

} // namespace StartLineFigures
