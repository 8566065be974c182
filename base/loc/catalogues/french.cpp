#include "base/loc/catalogues/catalogues.h"

namespace loc {

std::span<const CatalogueEntry> frenchTexts() {
  static constexpr CatalogueEntry texts[] = {
      {"plat_bad_argument", "Argument incorrect\u00a0: «\u00a0%S\u00a0»."},
      {"plat_configuration_global_params", "Paramètres globaux"},
      {"plat_configuration_help_default", "par défaut"},
      {"plat_configuration_log_dests_title", "Destinations des journaux\u00a0:"},
      {"plat_configuration_log_names_title", "Noms des journaux\u00a0:"},
      {"plat_configuration_option_usage_only", "Les options sont des paramètres."},
      {"plat_configuration_option_usage_with_extra",
       "Les options sont des paramètres, ainsi que les suivantes\u00a0:"},
      {"plat_configuration_param_usage",
       "Les paramètres s’activent avec -<paramètre> et se désactivent avec -<paramètre>=0\n"
       "Les valeurs peuvent être spécifiées sous la forme -<paramètre> <valeur>\n"
       "Les autres formes valides sont <paramètre>=<valeur> -<paramètre>=<valeur> "
       "--<paramètre>=<valeur>\n"
       "Les noms ne sont pas sensibles à la casse.  Les paramètres valides sont répertoriés "
       "ci-dessous."},
      {"plat_missing_argument", "Argument manquant pour «\u00a0%S\u00a0»."},
      {"plat_param_log",
       "Enregistrer les événements au format <journal>:<destination>:<niveau>[,...]."},
      {"plat_param_log_keep_days", "Conserver les fichiers journaux pendant X jours."},
      {"plat_param_logdir",
       "Répertoire dans lequel enregistrer la sortie du journal dirigée vers un fichier."},
      {"plat_param_logfile",
       "Fichier dans lequel enregistrer la sortie du journal dirigée vers un fichier."},
      {"plat_press_return_to_continue", "Appuyez sur la touche Entrée pour continuer"},
      {"plat_run_with_help", "Exécutez avec -help pour afficher l’aide sur l’utilisation."},
      {"plat_string_too_long", "Chaîne trop longue"},
      {"plat_this_program_not_directly",
       "Ce programme n’est pas destiné à être exécuté directement."},
      {"plat_usage_help", "Afficher les informations d’utilisation [avancées]."},
      {"plat_usage_label", "Utilisation\u00a0:"},

      {"loc_param_locale",
       "Paramètres régionaux à utiliser. Spécifiez en_US, de_DE, es_ES, fr_FR ou pt_BR, ou laissez "
       "cette valeur vide pour utiliser les paramètres régionaux de l’utilisateur ou du système, "
       "selon le cas."},
      {"loc_byterate_unit_sing", "%D octet/s"},
      {"loc_byterate_unit_many", "%D octets/s"},
      {"loc_byterate_kibi_sing", "%D Ko/s"},
      {"loc_byterate_kibi_many", "%D Ko/s"},
      {"loc_byterate_mebi_sing", "%D Mo/s"},
      {"loc_byterate_mebi_many", "%D Mo/s"},
      {"loc_byterate_gibi_sing", "%D Go/s"},
      {"loc_byterate_gibi_many", "%D Go/s"},
      {"loc_bytesize_unit_sing", "%D octet"},
      {"loc_bytesize_unit_many", "%D octets"},
      {"loc_bytesize_kibi_decimal", "%S Ko"},
      {"loc_bytesize_mebi_decimal", "%S Mo"},
      {"loc_bytesize_gibi_decimal", "%S Go"},
      {"loc_bytesize_tebi_decimal", "%S To"},
      {"loc_period_second_sing", "%D seconde"},
      {"loc_period_second_many", "%D secondes"},
      {"loc_period_minute_sing", "%D minute"},
      {"loc_period_minute_many", "%D minutes"},
      {"loc_period_hour_sing", "%D heure"},
      {"loc_period_hour_many", "%D heures"},
      {"loc_period_day_sing", "%D jour"},
      {"loc_period_day_many", "%D jours"},
      {"loc_time_yesterday", "hier"},
      {"loc_time_tomorrow", "demain"},
      {"loc_timedate_separator", "%1$S à %2$S"},
      {"loc_timezone_separator", "%1$S %2$S"},

      {"io_error_endpoint_badescape",
       "Point de terminaison non valide\u00a0: séquence d’échappement %% incorrecte"},
      {"io_error_endpoint_badport",
       "Point de terminaison non valide\u00a0: le port n’est pas spécifié correctement"},
      {"io_error_endpoint_bracket",
       "Point de terminaison non valide\u00a0: «\u00a0[\u00a0» non refermé dans l’hôte"},
      {"io_error_endpoint_empty", "Point de terminaison non valide\u00a0: hôte ou port manquant"},
      {"io_error_endpoint_general", "Point de terminaison non valide"},
  };
  return texts;
}

}  // namespace loc
