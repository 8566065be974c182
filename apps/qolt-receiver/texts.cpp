#include "apps/qolt-receiver/texts.h"

#include "base/loc/Localize.h"

namespace receiver {

namespace {

constexpr loc::Text texts[] = {
    {"receiver_param_name", "Name of the endpoint at which jobs are announced.",
     "Name des Endpunkts, an dem Druckaufträge angekündigt werden.",
     "Nombre del punto de conexión en el que se anuncian los trabajos.",
     "Nom du point de terminaison auquel les travaux sont annoncés.",
     "Nome do ponto de extremidade em que os trabalhos são anunciados."},
    {"receiver_param_output",
     "Directory in which to store received documents; pages become PNG pictures.",
     "Verzeichnis, in dem empfangene Dokumente abgelegt werden; Seiten werden zu PNG-Bildern.",
     "Directorio en el que se guardan los documentos recibidos; las páginas se convierten en "
     "imágenes PNG.",
     "Répertoire dans lequel enregistrer les documents reçus\u00a0; les pages deviennent des "
     "images PNG.",
     "Diretório no qual armazenar os documentos recebidos; as páginas se tornam imagens PNG."},
    {"receiver_param_timeout", "Seconds within which a connection must announce its job.",
     "Sekunden, innerhalb derer eine Verbindung ihren Auftrag ankündigen muss.",
     "Segundos de los que dispone una conexión para anunciar su trabajo.",
     "Délai, en secondes, dans lequel une connexion doit annoncer son travail.",
     "Segundos que uma conexão tem para anunciar seu trabalho."},
    {"receiver_param_join", "Join the pages of a job into one PDF document.",
     "Die Seiten eines Auftrags zu einem PDF-Dokument zusammenfügen.",
     "Unir las páginas de un trabajo en un solo documento PDF.",
     "Réunir les pages d’un travail en un seul document PDF.",
     "Reunir as páginas de um trabalho em um único documento PDF."},
    {"receiver_param_command",
     "Command to run with each received document as its last argument, without a shell.",
     "Befehl, der für jedes empfangene Dokument ohne Shell ausgeführt wird, mit dem Dokument als "
     "letztem Argument.",
     "Comando que se ejecuta, sin intérprete de comandos, con cada documento recibido como "
     "último argumento.",
     "Commande à exécuter sans interpréteur, avec chaque document reçu comme dernier argument.",
     "Comando a executar, sem interpretador de comandos, com cada documento recebido como último "
     "argumento."},
    {"receiver_param_release_held",
     "Have the print scheduler of this machine print what waits for this endpoint.",
     "Die Druckverwaltung dieses Rechners drucken lassen, was auf diesen Endpunkt wartet.",
     "Hacer que el planificador de impresión de este equipo imprima lo que espera a este punto de "
     "conexión.",
     "Faire imprimer par le planificateur d’impression de cette machine ce qui attend ce point de "
     "terminaison.",
     "Fazer o agendador de impressão desta máquina imprimir o que espera por este ponto de "
     "extremidade."},
    {"receiver_param_log_server", "Socket of the server that collects log output directed to ipc.",
     "Socket des Servers, der die nach ipc geleiteten Protokollausgaben sammelt.",
     "Socket del servidor que recopila la salida del registro dirigida a ipc.",
     "Socket du serveur qui collecte la sortie du journal dirigée vers ipc.",
     "Socket do servidor que coleta a saída de log direcionada para ipc."},
};

}  // namespace

void addTexts() {
  loc::Localize::instance().addTexts(texts);
}

}  // namespace receiver
