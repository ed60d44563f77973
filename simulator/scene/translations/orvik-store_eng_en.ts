<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="en">
<context>
    <name></name>
    <message id="orvik-store-ap-name">
        <source></source>
        <translation>Store</translation>
    </message>
    <message id="orvik-store-no-updates_available_include_n" numerus="yes">
        <source></source>
        <translation>
            <numerusform>%n update is available</numerusform>
            <numerusform>%n updates are available</numerusform>
        </translation>
    </message>
    <message id="orvik-store-no-system_update_version">
        <source></source>
        <translation>Branwick OS %1</translation>
    </message>
    <message id="orvik-store-no-system_update_available">
        <source></source>
        <translation>System update available</translation>
    </message>
    <message id="orvik-store-no-system_update_category">
        <source></source>
        <translation>System update</translation>
    </message>
    <message id="orvik-store-no-system_update_downloaded">
        <source></source>
        <translation>System update downloaded</translation>
    </message>
    <message id="orvik-store-no-install_failed">
        <source></source>
        <translation>Installation failed</translation>
    </message>
    <message id="orvik-store-no-sideloading_success">
        <source></source>
        <translation>Package installed</translation>
    </message>
    <message id="orvik-store-no-sideloading_failed">
        <source></source>
        <translation>Package could not be installed</translation>
    </message>
    <message id="orvik-store-no-sideloading_disabled">
        <source></source>
        <translation>Installing files is switched off. You can allow untrusted software in the settings.</translation>
    </message>
    <message id="orvik-store-no-error">
        <source></source>
        <translation>Problem in the store</translation>
    </message>
    <message id="orvik-store-no-bkp_install_failed">
        <source></source>
        <translation>The back cover's content could not be installed</translation>
    </message>
    <message id="orvik-store-no-error_server_not_available">
        <source></source>
        <translation>The store can't be reached. Check the connection and try again.</translation>
    </message>
    <message id="orvik-store-no-error_content_not_available">
        <source></source>
        <translation>This content isn't available right now. Try again later.</translation>
    </message>
    <message id="orvik-store-no-error_general_server_error">
        <source></source>
        <translation>The store has a problem. Try again later.</translation>
    </message>
    <message id="orvik-store-no-error_bkp_invalid">
        <source></source>
        <translation>This back cover isn't known to the store.</translation>
    </message>
    <message id="orvik-store-no-error_bkp_already_activated">
        <source></source>
        <translation>This back cover belongs to another account.</translation>
    </message>
    <message id="orvik-store-no-error_os_update_info_failed">
        <source></source>
        <translation>The details of the system update could not be fetched. Try again later.</translation>
    </message>
    <message id="orvik-store-no-error_install_failed">
        <source></source>
        <translation>%1 could not be installed.</translation>
    </message>
    <message id="orvik-store-no-error_update_failed">
        <source></source>
        <translation>%1 could not be updated.</translation>
    </message>
    <message id="orvik-store-no-error_package_already_uptodate">
        <source></source>
        <translation>%1 is up to date.</translation>
    </message>
    <message id="orvik-store-no-error_uninstall_failed">
        <source></source>
        <translation>%1 could not be removed.</translation>
    </message>
    <message id="orvik-store-no-error_package_database_unavailable">
        <source></source>
        <translation>The list of installed packages could not be read.</translation>
    </message>
    <message id="orvik-store-no-error_repositories_missing">
        <source></source>
        <translation>These software sources could not be switched: %1</translation>
    </message>
    <message id="orvik-store-no-error_os_update_size_failed">
        <source></source>
        <translation>The size of the system update could not be found out.</translation>
    </message>
    <message id="orvik-store-no-error_os_update_failed">
        <source></source>
        <translation>The system update failed. Try again later.</translation>
    </message>
    <message id="orvik-store-la-invalid_package">
        <source></source>
        <translation>Not a valid package</translation>
    </message>
    <message id="orvik-store-la-app_state_waiting">
        <source></source>
        <translation>Waiting</translation>
    </message>
    <message id="orvik-store-la-app_state_downloading">
        <source></source>
        <translation>Downloading</translation>
    </message>
    <message id="orvik-store-la-app_state_installing">
        <source></source>
        <translation>Installing</translation>
    </message>
    <message id="orvik-store-la-app_state_updating">
        <source></source>
        <translation>Updating</translation>
    </message>
    <message id="orvik-store-la-app_state_uninstalling">
        <source></source>
        <translation>Removing</translation>
    </message>
    <message id="orvik-store-la-app_state_installed">
        <source></source>
        <translation>Installed</translation>
    </message>
    <message id="orvik-store-la-app_state_updatable">
        <source></source>
        <translation>Update available</translation>
    </message>
    <message id="orvik-store-la-reviewed_by">
        <source></source>
        <translation>Reviewed by %1</translation>
    </message>
    <message id="orvik-store-la-liked_by">
        <source></source>
        <translation>Liked by %1</translation>
    </message>
    <message id="orvik-store-la-recommended_by_orvik">
        <source></source>
        <translation>Recommended by Orvik</translation>
    </message>
    <message id="orvik-store-la-new_in_store">
        <source></source>
        <translation>New in the store</translation>
    </message>
    <message id="orvik-store-la-orvik_apps_title">
        <source></source>
        <translation>Apps by Orvik</translation>
    </message>
    <message id="orvik-store-la-orvik_apps_promo_text">
        <source></source>
        <translation>Have a look at what we make for your phone.</translation>
    </message>
    <message id="orvik-store-la-search">
        <source></source>
        <translation>Search</translation>
    </message>
    <message id="orvik-store-la-search_hint">
        <source></source>
        <translation>Search the store</translation>
    </message>
    <message id="orvik-store-la-my_apps">
        <source></source>
        <translation>My apps</translation>
    </message>
    <message id="orvik-store-la-my_apps_updates">
        <source></source>
        <translation>My apps (%1)</translation>
    </message>
    <message id="orvik-store-la-update_all">
        <source></source>
        <translation>Update all</translation>
    </message>
    <message id="orvik-store-la-update">
        <source></source>
        <translation>Update</translation>
    </message>
    <message id="orvik-store-la-install">
        <source></source>
        <translation>Install</translation>
    </message>
    <message id="orvik-store-la-remove">
        <source></source>
        <translation>Remove</translation>
    </message>
    <message id="orvik-store-la-cancel">
        <source></source>
        <translation>Cancel</translation>
    </message>
    <message id="orvik-store-la-send">
        <source></source>
        <translation>Send</translation>
    </message>
    <message id="orvik-store-la-save">
        <source></source>
        <translation>Save</translation>
    </message>
    <message id="orvik-store-la-edit">
        <source></source>
        <translation>Edit</translation>
    </message>
    <message id="orvik-store-la-delete">
        <source></source>
        <translation>Delete</translation>
    </message>
    <message id="orvik-store-la-loading">
        <source></source>
        <translation>Loading…</translation>
    </message>
    <message id="orvik-store-la-connecting">
        <source></source>
        <translation>Connecting to the store…</translation>
    </message>
    <message id="orvik-store-la-sign_up">
        <source></source>
        <translation>Add an account in the settings to use the store.</translation>
    </message>
    <message id="orvik-store-la-no_server">
        <source></source>
        <translation>The store can't be reached.</translation>
    </message>
    <message id="orvik-store-la-nothing_found">
        <source></source>
        <translation>Nothing found</translation>
    </message>
    <message id="orvik-store-la-no_apps">
        <source></source>
        <translation>No applications installed</translation>
    </message>
    <message id="orvik-store-la-recommended">
        <source></source>
        <translation>Recommended</translation>
    </message>
    <message id="orvik-store-la-browse">
        <source></source>
        <translation>Browse</translation>
    </message>
    <message id="orvik-store-la-top_liked">
        <source></source>
        <translation>Most liked</translation>
    </message>
    <message id="orvik-store-la-top_downloaded">
        <source></source>
        <translation>Most downloaded</translation>
    </message>
    <message id="orvik-store-la-top_new">
        <source></source>
        <translation>New</translation>
    </message>
    <message id="orvik-store-la-feed">
        <source></source>
        <translation>What's going on</translation>
    </message>
    <message id="orvik-store-la-likes" numerus="yes">
        <source></source>
        <translation>
            <numerusform>%n like</numerusform>
            <numerusform>%n likes</numerusform>
        </translation>
    </message>
    <message id="orvik-store-la-version_downloads">
        <source></source>
        <translation>Version %1 · %2 downloads</translation>
    </message>
    <message id="orvik-store-la-changes">
        <source></source>
        <translation>What's new</translation>
    </message>
    <message id="orvik-store-la-reviews">
        <source></source>
        <translation>Reviews</translation>
    </message>
    <message id="orvik-store-la-write_review">
        <source></source>
        <translation>Write a review</translation>
    </message>
    <message id="orvik-store-la-not_in_store">
        <source></source>
        <translation>The store doesn't know %1.</translation>
    </message>
    <message id="orvik-store-la-backplate">
        <source></source>
        <translation>Back cover: %1</translation>
    </message>
    <message id="orvik-store-la-install_file">
        <source></source>
        <translation>Install %1?</translation>
    </message>
    <message id="orvik-store-la-upgrade_title">
        <source></source>
        <translation>System update</translation>
    </message>
    <message id="orvik-store-la-upgrade_running">
        <source></source>
        <translation>The update is being installed. Don't switch the phone off.</translation>
    </message>
    <message id="orvik-store-la-upgrade_done">
        <source></source>
        <translation>Done. The phone restarts now.</translation>
    </message>
    <message id="orvik-store-la-upgrade_failed">
        <source></source>
        <translation>The update could not be installed.</translation>
    </message>
    <message id="orvik-store-la-upgrade_disk_full">
        <source></source>
        <translation>There isn't enough room for the update.</translation>
    </message>
</context>
</TS>
