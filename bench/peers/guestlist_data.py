"""The rows of the reception guest list, read with the statements galvix's guest list runs (in
SQLite's own dialect): the party's invited groups, the party's three counts, and one count per
group. Shared by the ReportLab and the HTML peers so that all three tools do the same queries.
"""
import datetime
import sqlite3

MAIN = """
SELECT Parties.PartyID, SubEvents.SubEventName, Parties.GivenBy, Parties.Date, Parties.Time,
       Parties.Address, Parties.City, Parties.State, Parties.PostalCode, Parties.Country,
       Parties.Notes, PartyDetails.FormalLabel, PartyDetails.CasualLabel, GroupIDs.HPhone,
       GroupIDs.WPhone, GroupIDs.MPhone, GroupIDs.FPhone, GroupIDs.[E-Mail], GroupIDs.Notes,
       GuestCategories.Category, PartyDetails.GroupID
FROM SubEvents
JOIN Parties ON SubEvents.SubEventID = Parties.SubEventID
JOIN PartyDetails ON Parties.PartyID = PartyDetails.PartyID
JOIN GroupIDs ON GroupIDs.GroupID = PartyDetails.GroupID
JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID
JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID AND Parties.PartyID = Invitees.PartyID
LEFT JOIN GuestCategories ON GroupIDs.CategoryID = GuestCategories.CategoryID
WHERE Parties.PartyID = ? AND Invitees.[Primary] = -1
ORDER BY Parties.PartyID, PartyDetails.FormalLabel
"""
COUNT_FROM = ("FROM (GroupIDs INNER JOIN GuestNames ON GroupIDs.GroupID = GuestNames.GroupID) "
              "INNER JOIN Invitees ON GuestNames.GuestID = Invitees.GuestID ")
TOTAL = "SELECT Count(1) AS NumGuests " + COUNT_FROM + "WHERE PartyID = ?"
ADULTS = ("SELECT Count(Invitees.Attending) AS NumAdults " + COUNT_FROM +
          "WHERE PartyID = ? AND GuestNames.Type < 2")
CHILDREN = ("SELECT Count(Invitees.Attending) AS NumChildren " + COUNT_FROM +
            "WHERE PartyID = ? AND GuestNames.Type = 2")
PER_GROUP = ("SELECT Count(1) AS NumGuests FROM GuestNames INNER JOIN Invitees ON "
             "GuestNames.GuestID = Invitees.GuestID WHERE GroupID = ? AND PartyID = ?")


def _nocase(a, b):
    a, b = a.casefold(), b.casefold()
    return (a > b) - (a < b)


def connect(path):
    db = sqlite3.connect(path)
    # Every text column of the event database declares this case-insensitive collation.
    db.create_collation("JETTEXT", _nocase)
    return db


def party_id(db, name):
    row = db.execute("SELECT Parties.PartyID FROM Parties JOIN SubEvents ON SubEvents.SubEventID = "
                     "Parties.SubEventID WHERE SubEvents.SubEventName = ? ORDER BY Parties.PartyID",
                     (name,)).fetchone()
    if not row:
        raise SystemExit(f"no party named {name!r}")
    return row[0]


def _date(serial):
    if serial is None:
        return ""
    d = datetime.datetime(1899, 12, 30) + datetime.timedelta(days=serial)
    return f"{d.month}/{d.day}/{d.year}"


def _time(serial):
    if serial is None:
        return ""
    secs = round((serial % 1) * 86400)
    h, m, s = secs // 3600, secs // 60 % 60, secs % 60
    return f"{(h + 11) % 12 + 1}:{m:02d}:{s:02d} {'AM' if h < 12 else 'PM'}"


def _location(street, city, state, postal, country):
    lines = [street or ""]
    place = ", ".join(p for p in ((city or "").strip(), " ".join(
        q for q in ((state or "").strip(), (postal or "").strip()) if q)) if p)
    if place:
        lines.append(place)
    if (country or "").strip():
        lines.append(country)
    return "\n".join(l for l in lines if l)


def _contact(h, w, m, f, e):
    return "\n".join(f"({k}) {v}" for k, v in (("H", h), ("W", w), ("M", m), ("F", f), ("E", e))
                     if v and v.strip())


def read(db, pid):
    """(party header dict, list of group dicts), one count query per group as the report does."""
    rows = db.execute(MAIN, (pid,)).fetchall()
    if not rows:
        raise SystemExit("the party has no invited groups")
    r0 = rows[0]
    header = {
        "name": r0[1], "givenBy": r0[2] or "", "date": _date(r0[3]), "time": _time(r0[4]),
        "location": _location(r0[5], r0[6], r0[7], r0[8], r0[9]), "notes": r0[10] or "",
        "total": db.execute(TOTAL, (pid,)).fetchone()[0],
        "adults": db.execute(ADULTS, (pid,)).fetchone()[0],
        "children": db.execute(CHILDREN, (pid,)).fetchone()[0],
    }
    groups = []
    for r in rows:
        groups.append({
            "formal": r[11] or "", "casual": r[12] or "", "category": r[19] or "",
            "contact": _contact(r[13], r[14], r[15], r[16], r[17]),
            "count": db.execute(PER_GROUP, (r[20], pid)).fetchone()[0],
        })
    return header, groups


def event_name(db, pid):
    row = db.execute("SELECT Events.EventName FROM Events JOIN Parties ON Parties.EventID = "
                     "Events.EventID WHERE Parties.PartyID = ?", (pid,)).fetchone()
    return row[0] if row else ""
