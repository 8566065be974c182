#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CatalogueEntry> germanTexts() {
  static constexpr CatalogueEntry texts[] = {
      {"plat_bad_argument", "Ungültiges Argument „%S“."},
      {"plat_configuration_global_params", "Globale Parameter"},
      {"plat_configuration_help_default", "Standard"},
      {"plat_configuration_log_dests_title", "Protokollziele:"},
      {"plat_configuration_log_names_title", "Protokollnamen:"},
      {"plat_configuration_option_usage_only", "Optionen sind Parameter."},
      {"plat_configuration_option_usage_with_extra", "Optionen sind Parameter und außerdem:"},
      {"plat_configuration_param_usage",
       "Parameter werden mit -<Parameter> eingeschaltet und mit -<Parameter>=0 ausgeschaltet.\n"
       "Werte können in der Form -<Parameter> <Wert> angegeben werden.\n"
       "Weitere gültige Formen: <Parameter>=<Wert> -<Parameter>=<Wert> --<Parameter>=<Wert>\n"
       "Die Groß- und Kleinschreibung der Namen spielt keine Rolle.  Gültige Parameter sind im "
       "Folgenden aufgeführt."},
      {"plat_missing_argument", "Argument für „%S“ fehlt."},
      {"plat_param_log", "Ereignisse im Format <Protokoll>:<Ziel>:<Stufe>[,...] aufzeichnen."},
      {"plat_param_log_keep_days", "Protokolldateien X Tage lang aufbewahren."},
      {"plat_param_logdir",
       "Verzeichnis für Protokollausgaben, die in eine Datei geleitet werden."},
      {"plat_param_logfile", "Datei für Protokollausgaben, die in eine Datei geleitet werden."},
      {"plat_press_return_to_continue", "Zum Fortfahren die Eingabetaste drücken"},
      {"plat_run_with_help", "Mit -help aufrufen, um Hinweise zur Verwendung zu erhalten."},
      {"plat_string_too_long", "Zeichenfolge zu lang"},
      {"plat_this_program_not_directly",
       "Dieses Programm ist nicht dafür vorgesehen, direkt ausgeführt zu werden."},
      {"plat_usage_help", "[Erweiterte] Hinweise zur Verwendung anzeigen."},
      {"plat_usage_label", "Verwendung:"},

      {"loc_param_locale",
       "Zu verwendendes Gebietsschema. Geben Sie en_US, de_DE, es_ES, fr_FR oder pt_BR an, oder "
       "lassen Sie den Wert leer, um das Gebietsschema des Benutzers oder des Systems zu "
       "verwenden."},
      {"loc_byterate_unit_sing", "%D Byte/s"},
      {"loc_byterate_unit_many", "%D Bytes/s"},
      {"loc_byterate_kibi_sing", "%D KB/s"},
      {"loc_byterate_kibi_many", "%D KB/s"},
      {"loc_byterate_mebi_sing", "%D MB/s"},
      {"loc_byterate_mebi_many", "%D MB/s"},
      {"loc_byterate_gibi_sing", "%D GB/s"},
      {"loc_byterate_gibi_many", "%D GB/s"},
      {"loc_bytesize_unit_sing", "%D Byte"},
      {"loc_bytesize_unit_many", "%D Bytes"},
      {"loc_bytesize_kibi_decimal", "%S KB"},
      {"loc_bytesize_mebi_decimal", "%S MB"},
      {"loc_bytesize_gibi_decimal", "%S GB"},
      {"loc_bytesize_tebi_decimal", "%S TB"},
      {"loc_period_second_sing", "%D Sekunde"},
      {"loc_period_second_many", "%D Sekunden"},
      {"loc_period_minute_sing", "%D Minute"},
      {"loc_period_minute_many", "%D Minuten"},
      {"loc_period_hour_sing", "%D Stunde"},
      {"loc_period_hour_many", "%D Stunden"},
      {"loc_period_day_sing", "%D Tag"},
      {"loc_period_day_many", "%D Tage"},
      {"loc_time_yesterday", "gestern"},
      {"loc_time_tomorrow", "morgen"},
      {"loc_timedate_separator", "%1$S, %2$S"},
      {"loc_timezone_separator", "%1$S %2$S"},

      {"io_error_endpoint_badescape", "Ungültiger Endpunkt: fehlerhafte %%-Maskierung"},
      {"io_error_endpoint_badport", "Ungültiger Endpunkt: Port nicht korrekt angegeben"},
      {"io_error_endpoint_bracket",
       "Ungültiger Endpunkt: „[“ im Hostnamen ohne schließende Klammer"},
      {"io_error_endpoint_empty", "Ungültiger Endpunkt: Host und/oder Port fehlt"},
      {"io_error_endpoint_general", "Ungültiger Endpunkt"},
  };
  return texts;
}

}  // namespace loc
