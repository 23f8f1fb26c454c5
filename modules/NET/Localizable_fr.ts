<?xml version="1.0" encoding="utf-8"?>
<!DOCTYPE TS>
<TS version="2.1" language="fr_FR">
<context>
    <name>Localizable</name>
    <message><source>Network</source><translation>Réseau</translation></message>
    <message><source>net</source><translation>rés</translation></message>
    <message><source>Download</source><translation>Réception</translation></message>
    <message><source>Upload</source><translation>Envoi</translation></message>
    <message><source>Address</source><translation>Adresse</translation></message>
    <message><source>Wi-Fi</source><translation>Wi-Fi</translation></message>
    <message><source>none found</source><translation>aucune trouvée</translation></message>
    <message><source>no address</source><translation>pas d’adresse</translation></message>
    <message><source>not connected</source><translation>non connecté</translation></message>
    <message><source>unknown network</source><translation>réseau inconnu</translation></message>
    <message><source>up</source><translation>active</translation></message>
    <message><source>down</source><translation>inactive</translation></message>
    <message><source>dormant</source><translation>en veille</translation></message>
    <message><source>unknown</source><translation>inconnu</translation></message>
    <message><source>lowerlayerdown</source><translation>couche inférieure inactive</translation></message>
    <message><source>notpresent</source><translation>absente</translation></message>
</context>
</TS>
