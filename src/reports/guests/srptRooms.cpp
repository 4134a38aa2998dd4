#include "reports/guests/srptRooms.h"

#include "engine/layout_embed.h"

GALVIX_USE_LAYOUT(srptRooms);

namespace galvix::reports {

SrptRooms::SrptRooms() : engine::Report(engine::layouts::srptRooms()) {}

std::shared_ptr<SrptRooms> roomsFor(const std::string& connectionString, std::int32_t partyId,
                                    std::int32_t groupId) {
  auto rooms = std::make_shared<SrptRooms>();
  rooms->data().setConnectionString(connectionString);
  // Rooms belong to the group's invitation through PartyGroupID.
  rooms->data().setSource(
      "SELECT DISTINCTROW HotelRooms.RoomType, HotelRooms.NumNights, HotelRooms.NonSmoking, "
      "PartyDetails.PartyID, PartyDetails.GroupID FROM PartyDetails INNER JOIN HotelRooms ON "
      "PartyDetails.PartyGroupID = HotelRooms.PartyGroupID WHERE (((PartyDetails.PartyID)= " +
      std::to_string(partyId) + " ) AND ((PartyDetails.GroupID)= " + std::to_string(groupId) +
      "))");
  return rooms;
}

}  // namespace galvix::reports
