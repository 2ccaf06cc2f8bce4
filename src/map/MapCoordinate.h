#pragma once

// A point on the earth in degrees (WGS-84 latitude and longitude).
struct MapCoordinate {
    double latitude = 0;
    double longitude = 0;

    bool operator==(const MapCoordinate& o) const {
        return latitude == o.latitude && longitude == o.longitude;
    }
};
