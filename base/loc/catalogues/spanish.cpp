#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CatalogueEntry> spanishTexts() {
  static constexpr CatalogueEntry texts[] = {
      {"plat_bad_argument", "Argumento incorrecto: «%S»."},
      {"plat_configuration_global_params", "Parámetros globales"},
      {"plat_configuration_help_default", "predeterminado"},
      {"plat_configuration_log_dests_title", "Destinos de registro:"},
      {"plat_configuration_log_names_title", "Nombres de registro:"},
      {"plat_configuration_option_usage_only", "Las opciones son parámetros."},
      {"plat_configuration_option_usage_with_extra",
       "Las opciones son parámetros, y también las siguientes:"},
      {"plat_configuration_param_usage",
       "Los parámetros se activan con -<parámetro> y se desactivan con -<parámetro>=0\n"
       "Los valores se pueden especificar como -<parámetro> <valor>\n"
       "Otras formas válidas son <parámetro>=<valor> -<parámetro>=<valor> --<parámetro>=<valor>\n"
       "Los nombres no distinguen entre mayúsculas y minúsculas.  A continuación se enumeran los "
       "parámetros válidos."},
      {"plat_missing_argument", "Falta el argumento de «%S»."},
      {"plat_param_log",
       "Registrar los eventos con el formato <registro>:<destino>:<nivel>[,...]."},
      {"plat_param_log_keep_days", "Conservar los archivos de registro durante X días."},
      {"plat_param_logdir",
       "Directorio en el que se guarda la salida del registro dirigida a un archivo."},
      {"plat_param_logfile",
       "Archivo en el que se guarda la salida del registro dirigida a un archivo."},
      {"plat_press_return_to_continue", "Pulse la tecla Intro para continuar"},
      {"plat_run_with_help", "Ejecute el programa con -help para ver cómo se usa."},
      {"plat_string_too_long", "Cadena demasiado larga"},
      {"plat_this_program_not_directly",
       "Este programa no está pensado para ejecutarse directamente."},
      {"plat_usage_help", "Mostrar información de uso [avanzada]."},
      {"plat_usage_label", "Uso:"},

      {"loc_param_locale",
       "Configuración regional que se utilizará. Especifique en_US, de_DE, es_ES, fr_FR o pt_BR, o "
       "deje el valor en blanco para usar la configuración regional del usuario o del sistema, "
       "según corresponda."},
      {"loc_byterate_unit_sing", "%D byte/s"},
      {"loc_byterate_unit_many", "%D bytes/s"},
      {"loc_byterate_kibi_sing", "%D KB/s"},
      {"loc_byterate_kibi_many", "%D KB/s"},
      {"loc_byterate_mebi_sing", "%D MB/s"},
      {"loc_byterate_mebi_many", "%D MB/s"},
      {"loc_byterate_gibi_sing", "%D GB/s"},
      {"loc_byterate_gibi_many", "%D GB/s"},
      {"loc_bytesize_unit_sing", "%D byte"},
      {"loc_bytesize_unit_many", "%D bytes"},
      {"loc_bytesize_kibi_decimal", "%S KB"},
      {"loc_bytesize_mebi_decimal", "%S MB"},
      {"loc_bytesize_gibi_decimal", "%S GB"},
      {"loc_bytesize_tebi_decimal", "%S TB"},
      {"loc_period_second_sing", "%D segundo"},
      {"loc_period_second_many", "%D segundos"},
      {"loc_period_minute_sing", "%D minuto"},
      {"loc_period_minute_many", "%D minutos"},
      {"loc_period_hour_sing", "%D hora"},
      {"loc_period_hour_many", "%D horas"},
      {"loc_period_day_sing", "%D día"},
      {"loc_period_day_many", "%D días"},
      {"loc_time_yesterday", "ayer"},
      {"loc_time_tomorrow", "mañana"},
      {"loc_timedate_separator", "%1$S, %2$S"},
      {"loc_timezone_separator", "%1$S %2$S"},

      {"io_error_endpoint_badescape",
       "Punto de conexión no válido: secuencia de escape %% incorrecta"},
      {"io_error_endpoint_badport",
       "Punto de conexión no válido: el puerto no se ha especificado correctamente"},
      {"io_error_endpoint_bracket", "Punto de conexión no válido: «[» sin cerrar en el host"},
      {"io_error_endpoint_empty", "Punto de conexión no válido: falta el host o el puerto"},
      {"io_error_endpoint_general", "Punto de conexión no válido"},
  };
  return texts;
}

}  // namespace loc
