#include "base/loc/catalogue.h"

namespace loc {

std::span<const Text> compiledTexts() {
  static constexpr Text texts[] = {
      {"plat_bad_argument", "Bad argument '%S'.", "Ungültiges Argument „%S“.",
       "Argumento incorrecto: «%S».", "Argument incorrect\u00a0: «\u00a0%S\u00a0».",
       "Argumento inválido: “%S”."},
      {"plat_configuration_global_params", "Global parameters", "Globale Parameter",
       "Parámetros globales", "Paramètres globaux", "Parâmetros globais"},
      {"plat_configuration_help_default", "default", "Standard", "predeterminado", "par défaut",
       "padrão"},
      {"plat_configuration_log_dests_title", "Log destinations:", "Protokollziele:",
       "Destinos de registro:", "Destinations des journaux\u00a0:", "Destinos de log:"},
      {"plat_configuration_log_names_title", "Log names:", "Protokollnamen:",
       "Nombres de registro:", "Noms des journaux\u00a0:", "Nomes de log:"},
      {"plat_configuration_option_usage_only", "Options are parameters.",
       "Optionen sind Parameter.", "Las opciones son parámetros.",
       "Les options sont des paramètres.", "As opções são parâmetros."},
      {"plat_configuration_option_usage_with_extra",
       "Options are parameters, and also the following:", "Optionen sind Parameter und außerdem:",
       "Las opciones son parámetros, y también las siguientes:",
       "Les options sont des paramètres, ainsi que les suivantes\u00a0:",
       "As opções são parâmetros e também as seguintes:"},
      {"plat_configuration_param_usage",
       "Parameters can be turned on with -<param> or off with -<param>=0\n"
       "Values can be specified as -<param> <value>\n"
       "Other valid forms are <param>=<value> -<param>=<value> --<param>=<value>\n"
       "Names are case-insensitive.  Valid parameters are listed below.",
       "Parameter werden mit -<Parameter> eingeschaltet und mit -<Parameter>=0 ausgeschaltet.\n"
       "Werte können in der Form -<Parameter> <Wert> angegeben werden.\n"
       "Weitere gültige Formen: <Parameter>=<Wert> -<Parameter>=<Wert> --<Parameter>=<Wert>\n"
       "Die Groß- und Kleinschreibung der Namen spielt keine Rolle.  Gültige Parameter sind im "
       "Folgenden aufgeführt.",
       "Los parámetros se activan con -<parámetro> y se desactivan con -<parámetro>=0\n"
       "Los valores se pueden especificar como -<parámetro> <valor>\n"
       "Otras formas válidas son <parámetro>=<valor> -<parámetro>=<valor> --<parámetro>=<valor>\n"
       "Los nombres no distinguen entre mayúsculas y minúsculas.  A continuación se enumeran los "
       "parámetros válidos.",
       "Les paramètres s’activent avec -<paramètre> et se désactivent avec -<paramètre>=0\n"
       "Les valeurs peuvent être spécifiées sous la forme -<paramètre> <valeur>\n"
       "Les autres formes valides sont <paramètre>=<valeur> -<paramètre>=<valeur> "
       "--<paramètre>=<valeur>\n"
       "Les noms ne sont pas sensibles à la casse.  Les paramètres valides sont répertoriés "
       "ci-dessous.",
       "Os parâmetros podem ser ativados com -<parâmetro> ou desativados com -<parâmetro>=0\n"
       "Os valores podem ser especificados como -<parâmetro> <valor>\n"
       "Outras formas válidas são <parâmetro>=<valor> -<parâmetro>=<valor> --<parâmetro>=<valor>\n"
       "Os nomes não diferenciam maiúsculas de minúsculas.  Os parâmetros válidos estão listados "
       "abaixo."},
      {"plat_missing_argument", "Missing argument to '%S'.", "Argument für „%S“ fehlt.",
       "Falta el argumento de «%S».", "Argument manquant pour «\u00a0%S\u00a0».",
       "Falta o argumento de “%S”."},
      {"plat_param_log", "Record events in the format <log>:<target>:<level>[,...].",
       "Ereignisse im Format <Protokoll>:<Ziel>:<Stufe>[,...] aufzeichnen.",
       "Registrar los eventos con el formato <registro>:<destino>:<nivel>[,...].",
       "Enregistrer les événements au format <journal>:<destination>:<niveau>[,...].",
       "Registrar eventos no formato <log>:<destino>:<nível>[,...]."},
      {"plat_param_log_keep_days", "Keep log files for X days.",
       "Protokolldateien X Tage lang aufbewahren.",
       "Conservar los archivos de registro durante X días.",
       "Conserver les fichiers journaux pendant X jours.", "Manter os arquivos de log por X dias."},
      {"plat_param_logdir", "Directory in which to store log output directed to file.",
       "Verzeichnis für Protokollausgaben, die in eine Datei geleitet werden.",
       "Directorio en el que se guarda la salida del registro dirigida a un archivo.",
       "Répertoire dans lequel enregistrer la sortie du journal dirigée vers un fichier.",
       "Diretório no qual armazenar a saída de log direcionada para arquivo."},
      {"plat_param_logfile", "File in which to store log output directed to file.",
       "Datei für Protokollausgaben, die in eine Datei geleitet werden.",
       "Archivo en el que se guarda la salida del registro dirigida a un archivo.",
       "Fichier dans lequel enregistrer la sortie du journal dirigée vers un fichier.",
       "Arquivo no qual armazenar a saída de log direcionada para arquivo."},
      {"plat_press_return_to_continue", "Press Enter/Return key to continue",
       "Zum Fortfahren die Eingabetaste drücken", "Pulse la tecla Intro para continuar",
       "Appuyez sur la touche Entrée pour continuer", "Pressione a tecla Enter para continuar"},
      {"plat_run_with_help", "Run with -help for usage.",
       "Mit -help aufrufen, um Hinweise zur Verwendung zu erhalten.",
       "Ejecute el programa con -help para ver cómo se usa.",
       "Exécutez avec -help pour afficher l’aide sur l’utilisation.",
       "Execute com -help para ver as instruções de uso."},
      {"plat_string_too_long", "String too long", "Zeichenfolge zu lang", "Cadena demasiado larga",
       "Chaîne trop longue", "Texto longo demais"},
      {"plat_this_program_not_directly", "This program is not intended to be run directly.",
       "Dieses Programm ist nicht dafür vorgesehen, direkt ausgeführt zu werden.",
       "Este programa no está pensado para ejecutarse directamente.",
       "Ce programme n’est pas destiné à être exécuté directement.",
       "Este programa não foi criado para ser executado diretamente."},
      {"plat_usage_help", "Provide [advanced] usage information.",
       "[Erweiterte] Hinweise zur Verwendung anzeigen.", "Mostrar información de uso [avanzada].",
       "Afficher les informations d’utilisation [avancées].",
       "Exibir informações de uso [avançadas]."},
      {"plat_usage_label", "Usage:", "Verwendung:", "Uso:", "Utilisation\u00a0:", "Uso:"},

      {"loc_param_locale",
       "Locale to use. Specify one of en_US, de_DE, es_ES, fr_FR, or pt_BR, or leave empty to "
       "select the user or system locale as appropriate.",
       "Zu verwendendes Gebietsschema. Geben Sie en_US, de_DE, es_ES, fr_FR oder pt_BR an, oder "
       "lassen Sie den Wert leer, um das Gebietsschema des Benutzers oder des Systems zu "
       "verwenden.",
       "Configuración regional que se utilizará. Especifique en_US, de_DE, es_ES, fr_FR o pt_BR, o "
       "deje el valor en blanco para usar la configuración regional del usuario o del sistema, "
       "según corresponda.",
       "Paramètres régionaux à utiliser. Spécifiez en_US, de_DE, es_ES, fr_FR ou pt_BR, ou laissez "
       "cette valeur vide pour utiliser les paramètres régionaux de l’utilisateur ou du système, "
       "selon le cas.",
       "Localidade a ser usada. Especifique en_US, de_DE, es_ES, fr_FR ou pt_BR, ou deixe em "
       "branco para selecionar a localidade do usuário ou do sistema, conforme apropriado."},
      {"loc_byterate_unit_sing", "%D byte/s", "%D Byte/s", "%D byte/s", "%D octet/s", "%D byte/s"},
      {"loc_byterate_unit_many", "%D bytes/s", "%D Bytes/s", "%D bytes/s", "%D octets/s",
       "%D bytes/s"},
      {"loc_byterate_kibi_sing", "%D KB/s", "%D KB/s", "%D KB/s", "%D Ko/s", "%D KB/s"},
      {"loc_byterate_kibi_many", "%D KB/s", "%D KB/s", "%D KB/s", "%D Ko/s", "%D KB/s"},
      {"loc_byterate_mebi_sing", "%D MB/s", "%D MB/s", "%D MB/s", "%D Mo/s", "%D MB/s"},
      {"loc_byterate_mebi_many", "%D MB/s", "%D MB/s", "%D MB/s", "%D Mo/s", "%D MB/s"},
      {"loc_byterate_gibi_sing", "%D GB/s", "%D GB/s", "%D GB/s", "%D Go/s", "%D GB/s"},
      {"loc_byterate_gibi_many", "%D GB/s", "%D GB/s", "%D GB/s", "%D Go/s", "%D GB/s"},
      {"loc_bytesize_unit_sing", "%D byte", "%D Byte", "%D byte", "%D octet", "%D byte"},
      {"loc_bytesize_unit_many", "%D bytes", "%D Bytes", "%D bytes", "%D octets", "%D bytes"},
      {"loc_bytesize_kibi_decimal", "%S KB", "%S KB", "%S KB", "%S Ko", "%S KB"},
      {"loc_bytesize_mebi_decimal", "%S MB", "%S MB", "%S MB", "%S Mo", "%S MB"},
      {"loc_bytesize_gibi_decimal", "%S GB", "%S GB", "%S GB", "%S Go", "%S GB"},
      {"loc_bytesize_tebi_decimal", "%S TB", "%S TB", "%S TB", "%S To", "%S TB"},
      {"loc_period_second_sing", "%D second", "%D Sekunde", "%D segundo", "%D seconde",
       "%D segundo"},
      {"loc_period_second_many", "%D seconds", "%D Sekunden", "%D segundos", "%D secondes",
       "%D segundos"},
      {"loc_period_minute_sing", "%D minute", "%D Minute", "%D minuto", "%D minute", "%D minuto"},
      {"loc_period_minute_many", "%D minutes", "%D Minuten", "%D minutos", "%D minutes",
       "%D minutos"},
      {"loc_period_hour_sing", "%D hour", "%D Stunde", "%D hora", "%D heure", "%D hora"},
      {"loc_period_hour_many", "%D hours", "%D Stunden", "%D horas", "%D heures", "%D horas"},
      {"loc_period_day_sing", "%D day", "%D Tag", "%D día", "%D jour", "%D dia"},
      {"loc_period_day_many", "%D days", "%D Tage", "%D días", "%D jours", "%D dias"},
      {"loc_time_yesterday", "yesterday", "gestern", "ayer", "hier", "ontem"},
      {"loc_time_tomorrow", "tomorrow", "morgen", "mañana", "demain", "amanhã"},
      {"loc_timedate_separator", "%1$S, %2$S", "%1$S, %2$S", "%1$S, %2$S", "%1$S à %2$S",
       "%1$S, %2$S"},
      {"loc_timezone_separator", "%1$S %2$S", "%1$S %2$S", "%1$S %2$S", "%1$S %2$S", "%1$S %2$S"},

      {"io_error_endpoint_badescape", "Invalid endpoint: incorrect %% escape",
       "Ungültiger Endpunkt: fehlerhafte %%-Maskierung",
       "Punto de conexión no válido: secuencia de escape %% incorrecta",
       "Point de terminaison non valide\u00a0: séquence d’échappement %% incorrecte",
       "Ponto de extremidade inválido: sequência de escape %% incorreta"},
      {"io_error_endpoint_badport", "Invalid endpoint: port not correctly specified",
       "Ungültiger Endpunkt: Port nicht korrekt angegeben",
       "Punto de conexión no válido: el puerto no se ha especificado correctamente",
       "Point de terminaison non valide\u00a0: le port n’est pas spécifié correctement",
       "Ponto de extremidade inválido: porta não especificada corretamente"},
      {"io_error_endpoint_bracket", "Invalid endpoint: unmatched \"[\" in host",
       "Ungültiger Endpunkt: „[“ im Hostnamen ohne schließende Klammer",
       "Punto de conexión no válido: «[» sin cerrar en el host",
       "Point de terminaison non valide\u00a0: «\u00a0[\u00a0» non refermé dans l’hôte",
       "Ponto de extremidade inválido: “[” sem fechamento no host"},
      {"io_error_endpoint_empty", "Invalid endpoint: empty host and/or port",
       "Ungültiger Endpunkt: Host und/oder Port fehlt",
       "Punto de conexión no válido: falta el host o el puerto",
       "Point de terminaison non valide\u00a0: hôte ou port manquant",
       "Ponto de extremidade inválido: host e/ou porta ausentes"},
      {"io_error_endpoint_general", "Invalid endpoint", "Ungültiger Endpunkt",
       "Punto de conexión no válido", "Point de terminaison non valide",
       "Ponto de extremidade inválido"},
  };
  return texts;
}

}  // namespace loc
