#include "frame/custom_settings.h"

#include "db/connection.h"

namespace galvix::frame {

void CCustomSettings::SetCompanyFooter(std::string_view connectionString, engine::Field& field) {
  db::Connection conn;
  conn.open(connectionString);
  db::Recordset rs;
  rs.open(std::string("SELECT Vendors.ReportFooter, Vendors.FontName, Vendors.FontColor, ") +
              "Vendors.FontItalic, Vendors.FontBold, Vendors.FontSize " + "FROM Vendors " +
              "WHERE Vendors.MyCompany = -1",
          conn);
  if (!rs.EOF_()) {
    // Null columns leave that part of the design alone rather than failing the report.
    Variant text = rs.value("ReportFooter");
    field.setText(text.isNull() ? std::string() : text.toString());
    doc::Font font = field.font();
    if (Variant v = rs.value("FontName"); !v.isNull() && !v.toString().empty())
      font.name = v.toString();
    if (Variant v = rs.value("FontColor"); !v.isNull())
      field.setForeColor(static_cast<doc::Color>(v.toLong()));
    if (Variant v = rs.value("FontItalic"); !v.isNull()) font.italic = v.toBool();
    if (Variant v = rs.value("FontBold"); !v.isNull()) font.bold = v.toBool();
    if (Variant v = rs.value("FontSize"); !v.isNull() && v.toDouble() > 0) font.size = v.toDouble();
    field.setFont(font);
  }
  rs.close();
  conn.close();
}

}  // namespace galvix::frame
