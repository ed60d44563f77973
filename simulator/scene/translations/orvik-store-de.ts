<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="de">
<context>
    <name></name>
    <message id="orvik-store-ap-name">
        <source></source>
        <translation>Laden</translation>
    </message>
    <message id="orvik-store-no-updates_available_include_n" numerus="yes">
        <source></source>
        <translation>
            <numerusform>%n Aktualisierung verfügbar</numerusform>
            <numerusform>%n Aktualisierungen verfügbar</numerusform>
        </translation>
    </message>
    <message id="orvik-store-no-system_update_version">
        <source></source>
        <translation>Branwick OS %1</translation>
    </message>
    <message id="orvik-store-no-system_update_available">
        <source></source>
        <translation>Systemaktualisierung verfügbar</translation>
    </message>
    <message id="orvik-store-no-system_update_category">
        <source></source>
        <translation>Systemaktualisierung</translation>
    </message>
    <message id="orvik-store-no-system_update_downloaded">
        <source></source>
        <translation>Systemaktualisierung heruntergeladen</translation>
    </message>
    <message id="orvik-store-no-install_failed">
        <source></source>
        <translation>Installation fehlgeschlagen</translation>
    </message>
    <message id="orvik-store-no-sideloading_success">
        <source></source>
        <translation>Paket installiert</translation>
    </message>
    <message id="orvik-store-no-sideloading_failed">
        <source></source>
        <translation>Paket konnte nicht installiert werden</translation>
    </message>
    <message id="orvik-store-no-sideloading_disabled">
        <source></source>
        <translation>Das Installieren von Dateien ist abgeschaltet. In den Einstellungen lässt sich fremde Software zulassen.</translation>
    </message>
    <message id="orvik-store-no-error">
        <source></source>
        <translation>Problem im Laden</translation>
    </message>
    <message id="orvik-store-no-bkp_install_failed">
        <source></source>
        <translation>Der Inhalt der Rückschale konnte nicht installiert werden</translation>
    </message>
    <message id="orvik-store-no-error_server_not_available">
        <source></source>
        <translation>Der Laden ist nicht erreichbar. Bitte die Verbindung prüfen und erneut versuchen.</translation>
    </message>
    <message id="orvik-store-no-error_content_not_available">
        <source></source>
        <translation>Dieser Inhalt ist gerade nicht verfügbar. Bitte später erneut versuchen.</translation>
    </message>
    <message id="orvik-store-no-error_general_server_error">
        <source></source>
        <translation>Der Laden hat ein Problem. Bitte später erneut versuchen.</translation>
    </message>
    <message id="orvik-store-no-error_bkp_invalid">
        <source></source>
        <translation>Diese Rückschale ist dem Laden nicht bekannt.</translation>
    </message>
    <message id="orvik-store-no-error_bkp_already_activated">
        <source></source>
        <translation>Diese Rückschale gehört zu einem anderen Konto.</translation>
    </message>
    <message id="orvik-store-no-error_os_update_info_failed">
        <source></source>
        <translation>Die Angaben zur Systemaktualisierung waren nicht zu bekommen. Bitte später erneut versuchen.</translation>
    </message>
    <message id="orvik-store-no-error_install_failed">
        <source></source>
        <translation>%1 konnte nicht installiert werden.</translation>
    </message>
    <message id="orvik-store-no-error_update_failed">
        <source></source>
        <translation>%1 konnte nicht aktualisiert werden.</translation>
    </message>
    <message id="orvik-store-no-error_package_already_uptodate">
        <source></source>
        <translation>%1 ist auf dem neuesten Stand.</translation>
    </message>
    <message id="orvik-store-no-error_uninstall_failed">
        <source></source>
        <translation>%1 konnte nicht entfernt werden.</translation>
    </message>
    <message id="orvik-store-no-error_package_database_unavailable">
        <source></source>
        <translation>Die Liste der installierten Pakete war nicht zu lesen.</translation>
    </message>
    <message id="orvik-store-no-error_repositories_missing">
        <source></source>
        <translation>Diese Softwarequellen ließen sich nicht umschalten: %1</translation>
    </message>
    <message id="orvik-store-no-error_os_update_size_failed">
        <source></source>
        <translation>Die Größe der Systemaktualisierung war nicht zu ermitteln.</translation>
    </message>
    <message id="orvik-store-no-error_os_update_failed">
        <source></source>
        <translation>Die Systemaktualisierung ist fehlgeschlagen. Bitte später erneut versuchen.</translation>
    </message>
    <message id="orvik-store-la-invalid_package">
        <source></source>
        <translation>Kein gültiges Paket</translation>
    </message>
    <message id="orvik-store-la-app_state_waiting">
        <source></source>
        <translation>Wartet</translation>
    </message>
    <message id="orvik-store-la-app_state_downloading">
        <source></source>
        <translation>Wird geladen</translation>
    </message>
    <message id="orvik-store-la-app_state_installing">
        <source></source>
        <translation>Wird installiert</translation>
    </message>
    <message id="orvik-store-la-app_state_updating">
        <source></source>
        <translation>Wird aktualisiert</translation>
    </message>
    <message id="orvik-store-la-app_state_uninstalling">
        <source></source>
        <translation>Wird entfernt</translation>
    </message>
    <message id="orvik-store-la-app_state_installed">
        <source></source>
        <translation>Installiert</translation>
    </message>
    <message id="orvik-store-la-app_state_updatable">
        <source></source>
        <translation>Aktualisierung verfügbar</translation>
    </message>
    <message id="orvik-store-la-reviewed_by">
        <source></source>
        <translation>Besprochen von %1</translation>
    </message>
    <message id="orvik-store-la-liked_by">
        <source></source>
        <translation>%1 gefällt das</translation>
    </message>
    <message id="orvik-store-la-recommended_by_orvik">
        <source></source>
        <translation>Empfohlen von Orvik</translation>
    </message>
    <message id="orvik-store-la-new_in_store">
        <source></source>
        <translation>Neu im Laden</translation>
    </message>
    <message id="orvik-store-la-orvik_apps_title">
        <source></source>
        <translation>Apps von Orvik</translation>
    </message>
    <message id="orvik-store-la-orvik_apps_promo_text">
        <source></source>
        <translation>Was wir selbst für dein Telefon machen.</translation>
    </message>
    <message id="orvik-store-la-search">
        <source></source>
        <translation>Suchen</translation>
    </message>
    <message id="orvik-store-la-search_hint">
        <source></source>
        <translation>Im Laden suchen</translation>
    </message>
    <message id="orvik-store-la-my_apps">
        <source></source>
        <translation>Meine Apps</translation>
    </message>
    <message id="orvik-store-la-my_apps_updates">
        <source></source>
        <translation>Meine Apps (%1)</translation>
    </message>
    <message id="orvik-store-la-update_all">
        <source></source>
        <translation>Alle aktualisieren</translation>
    </message>
    <message id="orvik-store-la-update">
        <source></source>
        <translation>Aktualisieren</translation>
    </message>
    <message id="orvik-store-la-install">
        <source></source>
        <translation>Installieren</translation>
    </message>
    <message id="orvik-store-la-remove">
        <source></source>
        <translation>Entfernen</translation>
    </message>
    <message id="orvik-store-la-cancel">
        <source></source>
        <translation>Abbrechen</translation>
    </message>
    <message id="orvik-store-la-send">
        <source></source>
        <translation>Senden</translation>
    </message>
    <message id="orvik-store-la-save">
        <source></source>
        <translation>Sichern</translation>
    </message>
    <message id="orvik-store-la-edit">
        <source></source>
        <translation>Ändern</translation>
    </message>
    <message id="orvik-store-la-delete">
        <source></source>
        <translation>Löschen</translation>
    </message>
    <message id="orvik-store-la-loading">
        <source></source>
        <translation>Lädt…</translation>
    </message>
    <message id="orvik-store-la-connecting">
        <source></source>
        <translation>Verbindung zum Laden…</translation>
    </message>
    <message id="orvik-store-la-sign_up">
        <source></source>
        <translation>Für den Laden bitte in den Einstellungen ein Konto hinzufügen.</translation>
    </message>
    <message id="orvik-store-la-no_server">
        <source></source>
        <translation>Der Laden ist nicht erreichbar.</translation>
    </message>
    <message id="orvik-store-la-nothing_found">
        <source></source>
        <translation>Nichts gefunden</translation>
    </message>
    <message id="orvik-store-la-no_apps">
        <source></source>
        <translation>Keine Anwendungen installiert</translation>
    </message>
    <message id="orvik-store-la-recommended">
        <source></source>
        <translation>Empfohlen</translation>
    </message>
    <message id="orvik-store-la-browse">
        <source></source>
        <translation>Stöbern</translation>
    </message>
    <message id="orvik-store-la-top_liked">
        <source></source>
        <translation>Beliebteste</translation>
    </message>
    <message id="orvik-store-la-top_downloaded">
        <source></source>
        <translation>Meistgeladen</translation>
    </message>
    <message id="orvik-store-la-top_new">
        <source></source>
        <translation>Neu</translation>
    </message>
    <message id="orvik-store-la-feed">
        <source></source>
        <translation>Was sich tut</translation>
    </message>
    <message id="orvik-store-la-likes" numerus="yes">
        <source></source>
        <translation>
            <numerusform>%n Gefällt-mir</numerusform>
            <numerusform>%n Gefällt-mir</numerusform>
        </translation>
    </message>
    <message id="orvik-store-la-version_downloads">
        <source></source>
        <translation>Version %1 · %2 Downloads</translation>
    </message>
    <message id="orvik-store-la-changes">
        <source></source>
        <translation>Neuerungen</translation>
    </message>
    <message id="orvik-store-la-reviews">
        <source></source>
        <translation>Besprechungen</translation>
    </message>
    <message id="orvik-store-la-write_review">
        <source></source>
        <translation>Besprechung schreiben</translation>
    </message>
    <message id="orvik-store-la-not_in_store">
        <source></source>
        <translation>Der Laden kennt %1 nicht.</translation>
    </message>
    <message id="orvik-store-la-backplate">
        <source></source>
        <translation>Rückschale: %1</translation>
    </message>
    <message id="orvik-store-la-install_file">
        <source></source>
        <translation>%1 installieren?</translation>
    </message>
    <message id="orvik-store-la-upgrade_title">
        <source></source>
        <translation>Systemaktualisierung</translation>
    </message>
    <message id="orvik-store-la-upgrade_running">
        <source></source>
        <translation>Die Aktualisierung wird installiert. Das Telefon nicht ausschalten.</translation>
    </message>
    <message id="orvik-store-la-upgrade_done">
        <source></source>
        <translation>Fertig. Das Telefon startet jetzt neu.</translation>
    </message>
    <message id="orvik-store-la-upgrade_failed">
        <source></source>
        <translation>Die Aktualisierung ließ sich nicht installieren.</translation>
    </message>
    <message id="orvik-store-la-upgrade_disk_full">
        <source></source>
        <translation>Für die Aktualisierung reicht der Platz nicht.</translation>
    </message>
</context>
</TS>
