#pragma once

#include <string_view>

/// Classic records without a scope, and the lists that say more than id and name.
namespace sample::templates {

inline constexpr std::string_view idName = R"json({"id":${id},"name":${name}})json";
inline constexpr std::string_view groupListed = R"json({"id":${id},"name":${name},"is_smart":${smart}})json";
inline constexpr std::string_view userGroupListed =
    R"json({"id":${id},"name":${name},"is_smart":${smart},"is_notify_on_change":false})json";
inline constexpr std::string_view networkListed =
    R"json({"id":${id},"name":${name},"starting_address":${ip:0},"ending_address":${ip:255}})json";
inline constexpr std::string_view enrollmentProfileListed =
    R"json({"id":${id},"name":${name},"invitation":"${ownHex}"})json";
inline constexpr std::string_view mobileApplicationListed =
    R"json({"id":${id},"name":${name},"display_name":${name},"bundle_id":"org.example.${ownHex}","version":"1.0","internal_app":false})json";
inline constexpr std::string_view beaconListed =
    R"json({"id":${id},"name":${name},"uuid":${ownUUID},"major":1,"minor":2})json";
inline constexpr std::string_view classListed = R"json({"id":${id},"name":${name},"description":""})json";
inline constexpr std::string_view extensionListed = R"json({"id":${id},"extension":${name}})json";
inline constexpr std::string_view accountGroupListed =
    R"json({"id":${id},"name":${name},"site":{"id":-1,"name":"None"}})json";

inline constexpr std::string_view user =
    R"json({"user":{"id":${id},"name":${name},"full_name":${fullName},"email":${ownEmail},"email_address":${ownEmail},"phone_number":"+49 30 555${between:1000:9999}","position":${remark},"managed_apple_id":"","enable_custom_photo_url":false,"custom_photo_url":"","ldap_server":{"id":-1,"name":"None"},"extension_attributes":[{"id":1,"name":"Vertrag","type":"String","value":${pick:Full|Teilzeit|Contractor}}],"sites":[],"links":{"computers":${refs:computers:2},"peripherals":[],"mobile_devices":${refs:mobileDevices:2},"vpp_assignments":${refs:vppAssignments:1},"total_vpp_code_count":0},"user_groups":${userGroups}}})json";

inline constexpr std::string_view computerGroup =
    R"json({"computer_group":{"id":${id},"name":${name},"is_smart":${smart},"site":${ref:sites},"criteria":${criteria},"computers":${members:computers}}})json";
inline constexpr std::string_view mobileDeviceGroup =
    R"json({"mobile_device_group":{"id":${id},"name":${name},"is_smart":${smart},"site":${ref:sites},"criteria":${criteria},"mobile_devices":${members:mobileDevices}}})json";
inline constexpr std::string_view userGroup =
    R"json({"user_group":{"id":${id},"name":${name},"is_smart":${smart},"is_notify_on_change":false,"site":${ref:sites},"criteria":${criteria},"users":${members:users}}})json";

inline constexpr std::string_view mobileExtensionAttribute =
    R"json({"mobile_device_extension_attribute":{"id":${id},"name":${name},"description":${remark},"data_type":${pick:String|Integer|Date},"input_type":{"type":"Pop-up Menu","popup_choices":["Cart 1","Wagen 2","Chariot 3"]},"inventory_display":"General"}})json";
inline constexpr std::string_view userExtensionAttribute =
    R"json({"user_extension_attribute":{"id":${id},"name":${name},"description":${remark},"data_type":"String","input_type":{"type":"Text Field"}}})json";

inline constexpr std::string_view distributionPoint =
    R"json({"distribution_point":{"id":${id},"name":${name},"ip_address":"127.0.0.1","is_master":${flag},"failover_point":"","failover_point_url":"","enable_load_balancing":false,"local_path":"","ssh_username":"","password_sha256":"********************","connection_type":"SMB","share_name":"JamfShare","workgroup_or_domain":"","share_port":${level:445},"read_only_username":"reader","read_only_password_sha256":"********************","read_write_username":"writer","read_write_password_sha256":"********************",${httpShare},"certificate_required":false,"http_password_sha256":"********************","certificate":""}})json";

inline constexpr std::string_view site = R"json({"site":{"id":${id},"name":${name}}})json";
inline constexpr std::string_view building =
    R"json({"building":{"id":${id},"name":${name},"street_address1":"Lindenstraße ${level:1}","street_address2":"","city":${pick:Köln|Tromsø|Lyon|大阪市|Springfield},"state_province":"","zip_postal_code":"${between:10000:99999}","country":${pick:Germany|Norway|France|Japan}}})json";
inline constexpr std::string_view department = R"json({"department":{"id":${id},"name":${name}}})json";
inline constexpr std::string_view category =
    R"json({"category":{"id":${id},"name":${name},"priority":${level:9}}})json";
inline constexpr std::string_view networkSegment =
    R"json({"network_segment":{"id":${id},"name":${name},"starting_address":${ip:0},"ending_address":${ip:255},"distribution_server":"Cloud Distribution Point","distribution_point":"Cloud Distribution Point","url":"https://share.example.org/${level:1}","swu_server":"","building":${refName:buildings},"department":${refName:departments},"override_buildings":${flag},"override_departments":false}})json";

inline constexpr std::string_view account =
    R"json({"account":{"id":${id},"name":${name},"directory_user":false,"full_name":${fullName},"email":${ownEmail},"email_address":${ownEmail},"enabled":"Enabled","force_password_change":${toggle},"access_level":"Full Access","privilege_set":"Custom","privileges":{"jss_objects":["Read Computers","Read Policies"],"jss_settings":["Read SMTP Server"],"jss_actions":["Send Email to End Users via JSS"],"recon":[],"casper_admin":[]}}})json";
inline constexpr std::string_view accountGroup =
    R"json({"group":{"id":${id},"name":${name},"access_level":${pick:Full Access|Site Access},"privilege_set":"Custom","site":{"id":-1,"name":"None"},"privileges":{"jss_objects":["Read Level ${level:1}"],"jss_actions":[],"recon":[]},"members":${refs:accounts:3}}})json";

inline constexpr std::string_view enrollmentProfile =
    R"json({"mobile_device_enrollment_profile":{"general":{"id":${id},"name":${name},"invitation":"${ownHex}","udid":${ownUUID},"description":${remark}},"location":{"username":${login},"real_name":${person},"building":${refName:buildings}},"purchasing":{"is_purchased":true,"is_leased":false},"attachments":[]}})json";

inline constexpr std::string_view computerSearch =
    R"json({"advanced_computer_search":{"id":${id},"name":${name},"view_as":"Standard Web Page","sort_1":"","sort_2":"","sort_3":"","criteria":${smartCriteria},"display_fields":[{"name":"Computer Name"},{"name":"Serial Number"}],"computers":${members:computers},"site":${ref:sites}}})json";
inline constexpr std::string_view mobileSearch =
    R"json({"advanced_mobile_device_search":{"id":${id},"name":${name},"view_as":"Standard Web Page","sort_1":"","sort_2":"","sort_3":"","criteria":${smartCriteria},"display_fields":[{"name":"Display Name"}],"mobile_devices":${members:mobileDevices},"site":${ref:sites}}})json";
inline constexpr std::string_view userSearch =
    R"json({"advanced_user_search":{"id":${id},"name":${name},"criteria":${smartCriteria},"display_fields":[{"name":"Username"}],"users":${members:users},"site":${ref:sites}}})json";

inline constexpr std::string_view licensedSoftware =
    R"json({"licensed_software":{"general":{"id":${id},"name":${name},"publisher":"Beispiel & Partner","platform":"Mac","send_email_on_violation":false,"remove_titles_from_inventory_reports":false,"exclude_titles_purchased_from_app_store":true,"notes":${remark},"site":${ref:sites}},"software_definitions":[{"compare_type":"is","name":${app},"version":${version}}],"font_definitions":[],"plugin_definitions":[],"licenses":[{"serial_number_1":"${hex:12}","organization_name":"Tamarack Institute","license_type":"Standard","license_count":${between:5:400},"notes":"","purchasing":{"is_perpetual":true,"po_number":"PO-${between:1000:9999}","po_date":${date}}}]}})json";
inline constexpr std::string_view printer =
    R"json({"printer":{"id":${id},"name":${name},"category":${refName:categories},"uri":"lpd://printer${id}.example.org/queue","CUPS_name":"printer_${id}","location":${refName:buildings},"model":${pick:Kyo 4500|LaserTec <II>|Inkwell & Sons 9},"info":"","notes":${remark},"make_default":${flag},"use_generic":false,"ppd":"printer.ppd","ppd_path":"/Library/Printers/PPDs/printer.ppd","ppd_contents":"*PPD-Adobe: \"4.3\"\r\n*ModelName: \"Level ${level:1}\"\r\n*% ${hex:400}\r\n"}})json";
inline constexpr std::string_view dockItem =
    R"json({"dock_item":{"id":${id},"name":${name},"path":"file:///Applications/App${id}.app/","type":${pick:App|File|Folder},"contents":"<dict><key>level</key><integer>${level:1}</integer></dict>"}})json";
inline constexpr std::string_view directoryBinding =
    R"json({"directory_binding":{"id":${id},"name":${name},"priority":${level:1},"domain":"schule.example.org","username":"binder","password_sha256":"********************","computer_ou":"CN=Computers,DC=schule","type":"Active Directory"}})json";
inline constexpr std::string_view diskEncryption =
    R"json({"disk_encryption_configuration":{"id":${id},"name":${name},"key_type":"Individual","file_vault_enabled_users":"Current or Next User","revision":${level:1}}})json";
inline constexpr std::string_view beacon =
    R"json({"ibeacon":{"id":${id},"name":${name},"uuid":${ownUUID},"major":1,"minor":2}})json";
inline constexpr std::string_view removableMac =
    R"json({"removable_mac_address":{"id":${id},"name":${name}}})json";
inline constexpr std::string_view updateServer =
    R"json({"software_update_server":{"id":${id},"name":${name},"ip_address":"sus${id}.example.org","port":${level:8088},"set_system_wide":${flag}}})json";
inline constexpr std::string_view classroom =
    R"json({"class":{"id":${id},"name":${name},"description":${remark},"source":"N/A","site":${ref:sites},"mobile_device_group":{},"mobile_devices":${members:mobileDevices},"students":[${login},${login},${login}],"teachers":[${login}],"student_group_ids":[${refNumber:userGroups}],"teacher_ids":[],"teacher_group_ids":[],"apple_tvs":[],"meeting_times":{"meeting_time":{"days":"M W F","start_time":800,"end_time":${level:845}}}}})json";
inline constexpr std::string_view fileExtension =
    R"json({"allowed_file_extension":{"id":${id},"extension":${name}}})json";
inline constexpr std::string_view byoProfile =
    R"json({"byoprofile":{"general":{"id":${id},"name":${name},"description":${remark},"enabled":true,"site":${ref:sites}}}})json";
inline constexpr std::string_view ldapServer =
    R"json({"ldap_server":{"connection":{"id":${id},"name":${name},"hostname":"ldap${id}.example.org","server_type":"Active Directory","port":636,"use_ssl":true,"authentication_type":"simple","account":{"distinguished_username":"CN=reader,DC=schule","password_sha256":"********************"},"open_close_timeout":${level:15},"search_timeout":60,"referral_response":"","use_wildcards":true},"mappings_for_users":{"user_mappings":{"map_object_class_to_any_or_all":"all","object_classes":"user","search_base":"DC=schule","search_scope":"All Subtrees","map_user_id":"uSNCreated","map_username":"sAMAccountName"},"user_group_mappings":{"object_classes":"top,group","map_group_id":"uSNCreated"},"user_group_membership_mappings":{"user_group_membership_stored_in":"user object"}}}})json";
inline constexpr std::string_view webhook =
    R"json({"webhook":{"id":${id},"name":${name},"enabled":${flag},"url":"https://hooks.example.org/${ownHex}?a=1&b=2","content_type":"application/json","event":${pick:ComputerAdded|MobileDeviceEnrolled|PatchSoftwareTitleUpdated},"connection_timeout":${level:5},"read_timeout":2,"authentication_type":"NONE","username":"","password_sha256":"","header":"","smart_group_id":0,"enable_display_fields_for_group_object":false,"display_fields":[]}})json";

}  // namespace sample::templates
